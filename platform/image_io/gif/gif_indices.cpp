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
constexpr std::size_t kCodes = std::size_t{1} << kMaxWidth;
constexpr unsigned kMaxCodeSize = 8;

// Codes out of a chain of sub-blocks, the first bit lowest.
class CodeReader {
 public:
  explicit CodeReader(std::span<const std::byte> subBlocks) : rest_(subBlocks) {}

  // False if there are not that many bits any more.
  bool next(unsigned width, unsigned& code) {
    if (bit_ + width > bits_ && !refill(width)) return false;
    std::uint32_t word = 0;
    std::memcpy(&word, &buffer_[bit_ / 8], sizeof(word));
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap32(word);
    code = word >> (bit_ % 8) & ((1U << width) - 1);
    bit_ += width;
    return true;
  }

  [[nodiscard]] bool onlyPaddingLeft() const { return rest_.size() <= 1 && bits_ - bit_ < 8; }

 private:
  // Joins as many sub-blocks as there is room for.
  bool refill(unsigned width) {
    const std::size_t used = bit_ / 8;
    std::size_t size = bits_ / 8 - used;
    std::memmove(buffer_.data(), &buffer_[used], size);
    bit_ %= 8;
    while (rest_.size() > 1) {
      const auto length = std::to_integer<std::size_t>(rest_[0]);
      if (size + length > kBufferBytes) break;
      std::memcpy(&buffer_[size], &rest_[1], length);
      size += length;
      rest_ = rest_.subspan(1 + length);
    }
    bits_ = 8 * size;
    return bit_ + width <= bits_;
  }

  static constexpr std::size_t kBufferBytes = 8192;

  std::span<const std::byte> rest_;  // ends with the empty sub-block
  std::array<std::byte, kBufferBytes + sizeof(std::uint32_t)> buffer_{};
  std::size_t bit_ = 0;
  std::size_t bits_ = 0;
};

// Calls `take` for each string of indices: its code, its length, and the code that it has made (0
// if none), which stands for the string before and the first index of this one.
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
  std::array<std::uint16_t, kCodes> lengths{};
  std::fill_n(lengths.begin(), clear, std::uint16_t{1});
  CodeReader reader(frame.subBlocks);
  unsigned width = codeSize + 1;
  unsigned made = end + 1;  // codes below it exist
  bool first = true;        // the next string is the first one since the codes were cleared
  unsigned previous = 0;
  unsigned code = 0;
  std::uint64_t left = frame.pixels();
  while (left > 0) {
    if (!reader.next(width, code) || code == end) return tooShort;
    if (code == clear) {
      width = codeSize + 1;
      made = end + 1;
      first = true;
      continue;
    }
    unsigned added = 0;
    if (!first && made < kCodes) {
      added = made++;
      lengths[added] = static_cast<std::uint16_t>(lengths[previous] + 1);
    }
    if (code >= made) {
      return Error{"the picture data is damaged: a code does not exist"};
    }
    if (code < clear && code >= colors && code != frame.transparent) {
      return Error{fmt::format("a pixel has colour {} of a table of {}", code, colors)};
    }
    const unsigned length = lengths[code];
    if (length > left) return tooLong;
    left -= length;
    take(code, length, added);
    if (made == 1U << width && width < kMaxWidth) ++width;
    first = false;
    previous = code;
  }
  // Readers stop here, and some writers leave out the end code.
  while (!reader.onlyPaddingLeft() && reader.next(width, code) && code != end) {
    if (code != clear) return tooLong;
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
  std::array<std::uint8_t*, kCodes> starts{};
  const unsigned clear = 1U << std::min<unsigned>(frame.codeSize, kMaxCodeSize);
  std::uint8_t* previous = nullptr;
  std::uint8_t* out = indices.data();
  return walkStrings(file, frame, [&](unsigned code, unsigned length, unsigned added) {
    if (added != 0) starts[added] = previous;
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
