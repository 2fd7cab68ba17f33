#include "platform/image_io/png/png_filter.h"

#include <algorithm>
#include <cstdlib>

namespace kelvo {
namespace {

enum Filter : std::uint8_t { none, left, above, average, paeth, count };

// Sum of the differences, each taken as a signed byte, without its sign.
std::uint64_t weight(const std::uint8_t* differences, std::size_t size) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) {
    sum += static_cast<std::uint64_t>(std::min<int>(differences[i], 256 - differences[i]));
  }
  return sum;
}

inline std::uint8_t paethPrediction(std::uint8_t a, std::uint8_t b, std::uint8_t c) {
  const int pa = std::abs(b - c);
  const int pb = std::abs(a - c);
  const int pc = std::abs(a + b - 2 * c);
  const std::uint8_t bOrC = pb <= pc ? b : c;
  return pa <= pb && pa <= pc ? a : bOrC;
}

// x: the row; a, b, c: the samples to its left, above it, and above those to the left.
void apply(Filter filter, const std::uint8_t* x, const std::uint8_t* b, std::size_t pixelBytes,
           std::size_t size, std::uint8_t* out) {
  const std::uint8_t* const a = x - pixelBytes;
  const std::uint8_t* const c = b - pixelBytes;
  switch (filter) {
    case left:
      for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<std::uint8_t>(x[i] - a[i]);
      break;
    case above:
      for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<std::uint8_t>(x[i] - b[i]);
      break;
    case average:
      for (std::size_t i = 0; i < size; ++i) {
        out[i] = static_cast<std::uint8_t>(x[i] - ((a[i] + b[i]) >> 1));
      }
      break;
    case paeth:
      for (std::size_t i = 0; i < size; ++i) {
        out[i] = static_cast<std::uint8_t>(x[i] - paethPrediction(a[i], b[i], c[i]));
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
