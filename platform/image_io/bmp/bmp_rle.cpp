#include "platform/image_io/bmp/bmp_rle.h"

#include <fmt/format.h>

#include <algorithm>

namespace kelvo {
namespace {

class Decoder {
 public:
  Decoder(std::span<const std::byte> data, const BmpHeader& header, std::span<std::uint8_t> indices)
      : data_(data),
        width_(header.width),
        paddedWidth_(header.rowBytes() * 8 / header.pixelBits),
        height_(header.height),
        nibbles_(header.compression == BmpCompression::rle4),
        indices_(indices) {}

  BmpRuns decode() {
    while (!ended_ && runs_.status.status == CGImageSourceStatus::complete) {
      if (data_.size() - at_ < 2) {
        // The mark for the end may be left out.
        if (y_ < height_ && (y_ + 1 < height_ || x_ < width_)) incomplete();
        break;
      }
      const unsigned first = next();
      const unsigned second = next();
      if (first != 0) {
        run(first, second);
      } else {
        escape(second);
      }
    }
    return runs_;
  }

 private:
  unsigned next() { return std::to_integer<unsigned>(data_[at_++]); }

  void incomplete() {
    runs_.status = {CGImageSourceStatus::incomplete,
                    fmt::format("the pixels end in row {} of {}", y_, height_)};
  }
  void invalid() {
    runs_.status = {
        CGImageSourceStatus::invalidData,
        fmt::format("the run that ends at byte {} of the pixels leaves the picture", at_)};
  }

  void escape(unsigned code) {
    switch (code) {
      case 0:  // end of the row
        x_ = 0;
        if (++y_ > height_) invalid();
        return;
      case 1:
        ended_ = true;
        return;
      case 2:
        move();
        return;
      default:
        literal(code);
    }
  }

  void move() {
    if (data_.size() - at_ < 2) return incomplete();
    x_ += next();
    y_ += next();
    if (x_ > paddedWidth_ || y_ > height_) invalid();
  }

  void run(unsigned count, unsigned value) {
    const auto high = static_cast<std::uint8_t>(nibbles_ ? value >> 4 : value);
    const auto low = static_cast<std::uint8_t>(nibbles_ ? value & 15U : value);
    if (!fits(count)) return;
    for (unsigned i = 0; i < count; ++i) put(i % 2 == 0 ? high : low);
  }

  void literal(unsigned count) {
    const std::size_t bytes = nibbles_ ? (count + 1) / 2 : count;
    const std::size_t padded = bytes + bytes % 2;
    if (data_.size() - at_ < padded) return incomplete();
    if (!fits(count)) return;
    for (unsigned i = 0; i < count; ++i) {
      const auto value = std::to_integer<unsigned>(data_[at_ + (nibbles_ ? i / 2 : i)]);
      const unsigned half = i % 2 == 0 ? value >> 4 : value & 15U;
      put(static_cast<std::uint8_t>(nibbles_ ? half : value));
    }
    at_ += padded;
  }

  bool fits(unsigned count) {
    const bool inside = y_ < height_ && x_ + count <= paddedWidth_;
    if (!inside) invalid();
    return inside;
  }

  void put(std::uint8_t index) {
    const std::uint64_t x = x_++;
    if (x >= width_) return;
    runs_.highest = std::max(runs_.highest, index);
    if (!indices_.empty()) indices_[std::size_t{y_} * width_ + x] = index;
  }

  std::span<const std::byte> data_;
  std::size_t at_ = 0;
  std::uint32_t width_;
  std::uint64_t paddedWidth_;
  std::uint32_t height_;
  bool nibbles_;
  std::span<std::uint8_t> indices_;
  std::uint64_t x_ = 0;
  std::uint32_t y_ = 0;
  bool ended_ = false;
  BmpRuns runs_;
};

}  // namespace

BmpRuns decodeBmpRuns(std::span<const std::byte> data, const BmpHeader& header,
                      std::span<std::uint8_t> indices) {
  return Decoder(data, header, indices).decode();
}

}  // namespace kelvo
