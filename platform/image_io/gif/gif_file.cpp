#include "platform/image_io/gif/gif_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/image_io/mapped_file.h"

namespace kelvo {
namespace {

constexpr std::size_t kHeaderBytes = 13;  // signature, version, screen descriptor
constexpr std::size_t kDescriptorBytes = 10;
constexpr std::size_t kControlBytes = 8;
constexpr std::size_t kAhead = std::size_t{16} * 256;  // as many full sub-blocks, as most are
// What blocks begin with, and the labels of extensions.
constexpr unsigned kExtension = 0x21;
constexpr unsigned kImage = 0x2c;
constexpr unsigned kTrailer = 0x3b;
constexpr unsigned kPlainText = 0x01;
constexpr unsigned kGraphicControl = 0xf9;

}  // namespace

// One pass over the blocks of a file, up to the trailer or to what makes it stop.
class GifWalk {
 public:
  GifWalk(GifFile& gif, std::span<const std::byte> bytes) : gif_(gif), bytes_(bytes) {}

  Result<void> walk() {
    position_ = kHeaderBytes;
    readTable(at(gif::kScreenPacked), gif_.globalTable_, "its global colour table");
    while (!stopped_) readBlock();
    return std::move(overLimit_);
  }

 private:
  [[nodiscard]] unsigned at(std::size_t position) const {
    return std::to_integer<unsigned>(bytes_[position]);
  }
  [[nodiscard]] std::uint16_t number(std::size_t position) const {
    return static_cast<std::uint16_t>(at(position) | at(position + 1) << 8);
  }
  [[nodiscard]] std::size_t left() const { return bytes_.size() - position_; }

  void readBlock() {
    if (left() == 0)
      return stop(CGImageSourceStatus::incomplete, "the file ends before its trailer");
    switch (at(position_)) {
      case kExtension:
        return readExtension();
      case kImage:
        return readImage();
      case kTrailer:
        if (gif_.frames_.empty()) return invalid("there is no picture in the file");
        stopped_ = true;
        return;
      default:
        invalid(fmt::format("there is no block where one should be, at byte {}", position_));
    }
  }

  void readExtension() {
    const std::size_t start = position_;
    if (left() < 2) return endsInside("an extension");
    const unsigned label = at(start + 1);
    position_ += 2;
    if (!skipSubBlocks()) return endsInside("an extension");
    if (label == kPlainText) control_.reset();
    if (label != kGraphicControl) return;
    if (position_ - start != kControlBytes || at(start + 2) != 4) {
      return invalid(fmt::format("the graphic control block at byte {} makes no sense", start));
    }
    control_.reset();
    if ((at(start + 3) & 1U) != 0) control_ = static_cast<std::uint8_t>(at(start + 6));
  }

  void readImage() {
    if (gif_.frames_.size() >= gif_.limits_.maxFrames) {
      return refuse(fmt::format("the file has more than the {} frames allowed (--max-frames)",
                                gif_.limits_.maxFrames));
    }
    if (left() < kDescriptorBytes) return endsInside("an image descriptor");
    GifFrame frame;
    frame.descriptor = position_;
    frame.width = number(position_ + 5);
    frame.height = number(position_ + 7);
    if (frame.pixels() == 0) {
      return invalid(fmt::format("frame {} has no pixels", gif_.frames_.size()));
    }
    if (frame.pixels() > gif_.limits_.maxPixels) {
      return refuse(
          fmt::format("a picture of {} x {} pixels is over the limit of {} (--max-pixels)",
                      frame.width, frame.height, gif_.limits_.maxPixels));
    }
    const unsigned packed = at(position_ + gif::kDescriptorPacked);
    frame.interlaced = (packed & gif::kInterlaced) != 0;
    position_ += kDescriptorBytes;
    readTable(packed, frame.ownTable, "a local colour table");
    if (stopped_) return;
    if (left() == 0) return endsInside("a frame");
    frame.codeSize = static_cast<std::uint8_t>(at(position_++));
    const std::size_t data = position_;
    if (!skipSubBlocks()) return endsInside("a frame");
    frame.subBlocks = bytes_.subspan(data, position_ - data);
    frame.transparent = std::exchange(control_, std::nullopt);
    gif_.frames_.push_back(frame);
  }

  void readTable(unsigned packed, GifTable& table, std::string_view what) {
    if ((packed & gif::kHasTable) == 0) return;
    const std::size_t entries = std::size_t{2} << (packed & gif::kTableSize);
    if (left() < 3 * entries) return endsInside(what);
    table = {position_, entries};
    position_ = table.end();
  }

  // Passes over sub-blocks and the empty one that ends them. False if the file ends before that.
  bool skipSubBlocks() {
    while (left() > 0) {
      // Each length tells where the next one is, so no processor looks ahead by itself.
      __builtin_prefetch(bytes_.data() + position_ + std::min(left() - 1, kAhead));
      const std::size_t size = at(position_) + std::size_t{1};
      if (size > left()) return false;
      position_ += size;
      if (size == 1) return true;
    }
    return false;
  }

  void stop(CGImageSourceStatus status, std::string cause) {
    gif_.status_ = {status, std::move(cause)};
    stopped_ = true;
  }
  void endsInside(std::string_view what) {
    stop(CGImageSourceStatus::incomplete, fmt::format("the file ends inside {}", what));
  }
  void invalid(std::string cause) { stop(CGImageSourceStatus::invalidData, std::move(cause)); }
  void refuse(std::string cause) {
    overLimit_ = Error{std::move(cause)};
    stopped_ = true;
  }

  GifFile& gif_;
  std::span<const std::byte> bytes_;
  std::size_t position_ = 0;
  std::optional<std::uint8_t> control_;  // transparent index of the next frame
  bool stopped_ = false;
  Result<void> overLimit_;
};

Result<std::shared_ptr<const GifFile>> GifFile::open(FileBytes file, const Limits& limits) {
  const auto bytes = file->bytes();
  if (bytes.size() < kHeaderBytes) return Error{"the file ends inside its header"};
  std::shared_ptr<GifFile> gif(new GifFile);
  gif->file_ = std::move(file);
  gif->limits_ = limits;
  if (auto walked = GifWalk(*gif, bytes).walk(); !walked) return std::move(walked).error();
  return std::shared_ptr<const GifFile>(std::move(gif));
}

std::span<const std::byte> GifFile::colors(const GifTable& table) const {
  return file_->bytes().subspan(table.position, 3 * table.entries);
}

}  // namespace kelvo
