#include "platform/image_io/png/png_filter.h"

#include <algorithm>

namespace kelvo {
namespace {

enum Filter : std::uint8_t { none, left, above, average, paeth, count };

// All arithmetic on samples below is on bytes, so that the compiler puts as many as it can into one
// vector.
constexpr std::uint8_t byte(int value) { return static_cast<std::uint8_t>(value); }

// Sum of the differences, each taken as a signed byte, without its sign.
std::uint64_t weight(const std::uint8_t* differences, std::size_t size) {
  constexpr std::size_t kBlock = 4096;  // sums of which fit into 32 bits
  std::uint64_t sum = 0;
  for (std::size_t start = 0; start < size; start += kBlock) {
    const std::size_t end = std::min(size, start + kBlock);
    std::uint32_t part = 0;
    for (std::size_t i = start; i < end; ++i) {
      part += std::min(differences[i], byte(-differences[i]));
    }
    sum += part;
  }
  return sum;
}

inline std::uint8_t distance(std::uint8_t a, std::uint8_t b) {
  return byte(std::max(a, b) - std::min(a, b));
}

// Of a, b and c the nearest to a + b - c; of equally near ones the first. The distances are
// |b - c|, |a - c| and |(a - c) + (b - c)|. Where both differences have one sign, the last is the
// sum of the others, and c is never nearer than the nearer of them; else it is their difference.
inline std::uint8_t paethPrediction(std::uint8_t a, std::uint8_t b, std::uint8_t c) {
  const std::uint8_t pa = distance(b, c);
  const std::uint8_t pb = distance(a, c);
  const std::uint8_t nearest = pa <= pb ? a : b;
  const bool between = (a > c) != (b > c);
  const std::uint8_t pc = distance(pa, pb);
  return between && pc < std::min(pa, pb) ? c : nearest;
}

// x: the row; a, b, c: the samples to its left, above it, and above those to the left.
void apply(Filter filter, const std::uint8_t* x, const std::uint8_t* b, std::size_t pixelBytes,
           std::size_t size, std::uint8_t* out) {
  const std::uint8_t* const a = x - pixelBytes;
  const std::uint8_t* const c = b - pixelBytes;
  switch (filter) {
    case left:
      for (std::size_t i = 0; i < size; ++i) out[i] = byte(x[i] - a[i]);
      break;
    case above:
      for (std::size_t i = 0; i < size; ++i) out[i] = byte(x[i] - b[i]);
      break;
    case average:
      for (std::size_t i = 0; i < size; ++i) {
        const std::uint8_t mean = byte((a[i] & b[i]) + ((a[i] ^ b[i]) >> 1));
        out[i] = byte(x[i] - mean);
      }
      break;
    case paeth:
      for (std::size_t i = 0; i < size; ++i) {
        out[i] = byte(x[i] - paethPrediction(a[i], b[i], c[i]));
      }
      break;
    case none:
    case count:
      std::copy_n(x, size, out);
      break;
  }
}

}  // namespace

PngRowFilter::PngRowFilter(std::size_t rowBytes, std::size_t pixelBytes)
    : rowBytes_(rowBytes),
      pixelBytes_(pixelBytes),
      current_(pixelBytes + rowBytes),
      previous_(pixelBytes + rowBytes),
      best_(rowBytes + 1),
      trial_(rowBytes + 1) {}

std::span<const std::uint8_t> PngRowFilter::filter(std::span<const std::uint8_t> row) {
  std::swap(current_, previous_);
  std::uint8_t* const x = current_.data() + pixelBytes_;
  std::copy(row.begin(), row.end(), x);
  const std::uint8_t* const b = previous_.data() + pixelBytes_;
  std::uint64_t bestWeight = 0;
  for (std::uint8_t number = none; number < count; ++number) {
    trial_[0] = number;
    apply(static_cast<Filter>(number), x, b, pixelBytes_, rowBytes_, trial_.data() + 1);
    const std::uint64_t trialWeight = weight(trial_.data() + 1, rowBytes_);
    if (number != none && trialWeight >= bestWeight) continue;
    bestWeight = trialWeight;
    std::swap(best_, trial_);
  }
  return best_;
}

}  // namespace kelvo
