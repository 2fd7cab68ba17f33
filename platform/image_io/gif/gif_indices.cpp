#include "platform/image_io/gif/gif_indices.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace kelvo {
namespace {

constexpr unsigned kMaxWidth = 12;  // of a code, in bits
constexpr unsigned kCodes = 1U << kMaxWidth;
constexpr unsigned kMaxCodeSize = 8;
// Codes that are read at once: as many of the largest as a word has from any of its first bits.
constexpr unsigned kGroup = 4;
static_assert(7 + kGroup * kMaxWidth <= 64);
// The length of what is no string. Longer than the strings of a group together: none of them has
// more indices than there are codes.
constexpr std::uint16_t kNoString = 0x8000;
static_assert(kNoString > kGroup * kCodes);

// The bits of a chain of sub-blocks, the first one lowest. The reader's position is the caller's,
// so that it can stay in a register.
class BitReader {
 public:
  explicit BitReader(std::span<const std::byte> subBlocks) : rest_(subBlocks) {}

  // False if there are not that many bits any more.
  bool has(unsigned width, std::size_t& position) {
    return position + width <= bits_ || refill(width, position);
  }
  // At least kGroup codes. What lies beyond the bits at hand is anybody's guess.
  [[nodiscard]] std::uint64_t word(std::size_t position) const {
    std::uint64_t word = 0;
    std::memcpy(&word, &buffer_[position / 8], sizeof(word));
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    return word >> (position % 8);
  }
  [[nodiscard]] unsigned get(unsigned width, std::size_t position) const {
    return static_cast<unsigned>(word(position)) & ((1U << width) - 1);
  }
  // Bits that are at hand.
  [[nodiscard]] std::size_t left(std::size_t position) const { return bits_ - position; }
  [[nodiscard]] bool onlyPaddingAfter(std::size_t position) const {
    return rest_.size() <= 1 && left(position) < 8;
  }

 private:
  // Joins as many sub-blocks as there is room for.
  bool refill(unsigned width, std::size_t& position) {
    const std::size_t used = position / 8;
    std::size_t size = bits_ / 8 - used;
    std::memmove(buffer_.data(), &buffer_[used], size);
    position %= 8;
    while (rest_.size() > 1) {
      const auto length = std::to_integer<std::size_t>(rest_[0]);
      if (size + length > kBufferBytes) break;
      std::memcpy(&buffer_[size], &rest_[1], length);
      size += length;
      rest_ = rest_.subspan(1 + length);
    }
    bits_ = 8 * size;
    return position + width <= bits_;
  }

  static constexpr std::size_t kBufferBytes = 8192;

  std::span<const std::byte> rest_;  // ends with the empty sub-block
  std::array<std::byte, kBufferBytes + sizeof(std::uint64_t)> buffer_{};
  std::size_t bits_ = 0;
};

// Calls `take` for each string of indices: its code, its length, and the code that it has made,
// which stands for the string before and the first index of this one (or kCodes: none).
template <typename Take>
Result<void> walkStrings(const GifFile& file, const GifFrame& frame, Take take) {
  const unsigned codeSize = frame.codeSize;
  if (codeSize == 0 || codeSize > kMaxCodeSize) {
    return Error{
        fmt::format("picture data that begins with codes of {} bits makes no sense", codeSize + 1)};
  }
  const Error tooShort{"the picture data ends early"};
  const Error tooLong{"there is more picture data than the frame has pixels"};
  const std::size_t colors = file.tableOf(frame).entries;
  const unsigned clear = 1U << codeSize;
  const unsigned end = clear + 1;
  // kNoString for every code that is not to be met: the two that are no strings, those that do not
  // exist yet, indices beyond the table. So one sum tells whether a group is sound.
  std::array<std::uint16_t, kCodes + 1> lengths;
  lengths.fill(kNoString);
  for (unsigned i = 0; i < clear; ++i) {
    if (i < colors || i == frame.transparent) lengths[i] = 1;
  }
  BitReader bits(frame.subBlocks);
  std::size_t position = 0;
  unsigned width = codeSize + 1;
  unsigned made = end + 1;  // codes below it exist
  bool first = true;        // the next string is the first one since the codes were cleared
  unsigned length = 0;      // of the string before
  std::uint64_t left = frame.pixels();
  while (left > 0) {
    if (!bits.has(width, position)) return tooShort;
    // Codes of one width, as many as are at hand.
    const bool growing = !first && made < kCodes;
    std::size_t run = first ? 1 : bits.left(position) / width;
    if (growing) run = std::min<std::size_t>(run, (1U << width) - made);
    const unsigned step = growing ? 1 : 0;
    // This loop is what rewriting a file takes.
    for (; run >= kGroup; run -= kGroup) {
      const std::uint64_t word = bits.word(position);
      const unsigned added = growing ? made : kCodes;
      std::array<unsigned, kGroup> codes;
      std::array<unsigned, kGroup> found;
      unsigned before = length;
      unsigned sum = 0;
      for (unsigned i = 0; i < kGroup; ++i) {
        codes[i] = static_cast<unsigned>(word >> (i * width)) & ((1U << width) - 1);
        lengths[added + i * step] = static_cast<std::uint16_t>(before + 1);
        before = found[i] = lengths[codes[i]];
        sum += before;
      }
      if (sum >= std::min<std::uint64_t>(left, kNoString)) {
        // Something in it wants a closer look, one by one.
        for (unsigned i = 0; i < kGroup; ++i) lengths[added + i * step] = kNoString;
        break;
      }
      for (unsigned i = 0; i < kGroup; ++i) take(codes[i], found[i], added + i * step);
      position += kGroup * width;
      made += kGroup * step;
      length = before;
      left -= sum;
    }
    bool cleared = false;
    for (; run > 0; --run) {
      const unsigned code = bits.get(width, position);
      position += width;
      const unsigned added = growing ? made : kCodes;
      lengths[added] = static_cast<std::uint16_t>(length + 1);
      made += step;
      length = lengths[code];
      if (length == kNoString) {
        if (code == clear) {
          cleared = true;
          break;
        }
        if (code == end) return tooShort;
        if (code > end) return Error{"the picture data is damaged: a code does not exist"};
        return Error{fmt::format("a pixel has colour {} of a table of {}", code, colors)};
      }
      if (length >= left) {
        if (length > left) return tooLong;
        run = 1;
      }
      left -= length;
      take(code, length, added);
    }
    first = cleared;
    if (cleared) {
      std::fill(&lengths[end + 1], &lengths[made], kNoString);
      width = codeSize + 1;
      made = end + 1;
    } else if (made == 1U << width && width < kMaxWidth) {
      ++width;
    }
  }
  // Readers stop here, and some writers leave out the end code.
  while (!bits.onlyPaddingAfter(position) && bits.has(width, position)) {
    const unsigned code = bits.get(width, position);
    if (code == end) return {};
    if (code != clear) return tooLong;
    position += width;
    width = codeSize + 1;
  }
  return {};
}

}  // namespace

Result<void> checkGifIndices(const GifFile& file, const GifFrame& frame) {
  return walkStrings(file, frame, [](unsigned, unsigned, unsigned) {});
}

Result<void> decodeGifIndices(const GifFile& file, const GifFrame& frame,
                              std::span<std::uint8_t> indices) {
  // A string is found where it came first: it begins where the string that it extends began.
  std::array<const std::uint8_t*, kCodes + 1> starts{};
  const unsigned clear = 1U << std::min<unsigned>(frame.codeSize, kMaxCodeSize);
  std::uint8_t* previous = nullptr;
  std::uint8_t* out = indices.data();
  return walkStrings(file, frame, [&](unsigned code, unsigned length, unsigned added) {
    starts[added] = previous;
    previous = out;
    if (code < clear) {
      *out++ = static_cast<std::uint8_t>(code);
      return;
    }
    // The last index may be the first one of the copy.
    const std::uint8_t* const from = starts[code];
    std::memcpy(out, from, length - 1);
    out[length - 1] = from[length - 1];
    out += length;
  });
}

}  // namespace kelvo
