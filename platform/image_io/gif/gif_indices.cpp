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

// The bits of a chain of sub-blocks, the first one lowest. The reader's position is the caller's,
// so that it can stay in a register.
class BitReader {
 public:
  explicit BitReader(std::span<const std::byte> subBlocks) : rest_(subBlocks) {}

  // False if there are not that many bits any more.
  bool has(unsigned width, std::size_t& position) {
    return position + width <= bits_ || refill(width, position);
  }
  [[nodiscard]] unsigned get(unsigned width, std::size_t position) const {
    std::uint32_t word = 0;
    std::memcpy(&word, &buffer_[position / 8], sizeof(word));
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap32(word);
    return word >> (position % 8) & ((1U << width) - 1);
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
  std::array<std::byte, kBufferBytes + sizeof(std::uint32_t)> buffer_{};
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
  const bool beyondTable = clear > colors;  // asked first: whether code < clear is anybody's guess
  std::array<std::uint16_t, kCodes + 1> lengths{};
  std::fill_n(lengths.begin(), clear, std::uint16_t{1});
  BitReader bits(frame.subBlocks);
  std::size_t position = 0;
  unsigned width = codeSize + 1;
  unsigned made = end + 1;  // codes below it exist
  bool first = true;        // the next string is the first one since the codes were cleared
  unsigned length = 0;      // of the string before
  std::uint64_t left = frame.pixels();
  while (left > 0) {
    if (!bits.has(width, position)) return tooShort;
    // Codes of one width, as many as are at hand. This loop is what rewriting a file takes.
    const bool growing = !first && made < kCodes;
    std::size_t run = first ? 1 : bits.left(position) / width;
    if (growing) run = std::min<std::size_t>(run, (1U << width) - made);
    bool cleared = false;
    for (; run > 0; --run) {
      const unsigned code = bits.get(width, position);
      position += width;
      if (code - clear <= 1) {
        if (code == end) return tooShort;
        cleared = true;
        break;
      }
      const unsigned added = growing ? made : kCodes;
      lengths[added] = static_cast<std::uint16_t>(length + 1);
      made += growing ? 1 : 0;
      if (code >= made) return Error{"the picture data is damaged: a code does not exist"};
      if (beyondTable && code < clear && code >= colors && code != frame.transparent) {
        return Error{fmt::format("a pixel has colour {} of a table of {}", code, colors)};
      }
      length = lengths[code];
      if (length >= left) {
        if (length > left) return tooLong;
        run = 1;
      }
      left -= length;
      take(code, length, added);
    }
    first = cleared;
    if (cleared) {
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
