#include <algorithm>
#include <array>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/image_io/exif_orientation.h"
#include "platform/image_io/jpeg/gain_map.h"
#include "platform/image_io/jpeg/jpeg_decoder.h"
#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/jpeg/jpeg_properties.h"
#include "platform/image_io/jpeg/jpeg_structure.h"
#include "platform/image_io/jpeg/jpeg_writer.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo {
namespace jpeg {

Properties::Properties(FileBytes file, std::shared_ptr<const Structure> structure,
                       const Picture& picture, CGColorSpaceRef colorSpace, MultiPicture pictures,
                       std::size_t number)
    : file_(std::move(file)),
      structure_(std::move(structure)),
      coding_(picture.coding),
      colorSpace_(std::move(colorSpace)),
      pictures_(std::move(pictures)),
      number_(number) {
  const auto rest = picture.bytes.subspan(structure_->end);
  const UnlistedGainMap unlisted = findUnlistedGainMap(rest);
  trailer_.push_back(rest.first(unlisted.begin));
  if (unlisted.end < rest.size()) trailer_.push_back(rest.subspan(unlisted.end));
  trailer_.insert(trailer_.end(), picture.laterBytes.begin(), picture.laterBytes.end());
  hasGainMap_ = unlisted.begin < unlisted.end || gainMapSigns(structure_->segments).present ||
                (pictures_.index && pictures_.index->hasGainMaps());
}

namespace {

bool matches(std::span<const std::byte> head) {
  constexpr std::array kSignature = {std::byte{0xFF}, std::byte{0xD8}, std::byte{0xFF}};
  return head.size() >= kSignature.size() &&
         std::equal(kSignature.begin(), kSignature.end(), head.begin());
}

PixelLayout layoutOf(Coding coding) {
  switch (coding) {
    case Coding::gray:
      return {.components = 1};
    case Coding::cmyk:
    case Coding::ycck:
      return {.components = 4};
    case Coding::rgb:
    case Coding::ycc:
      break;
  }
  return {.components = 3};
}

ColorModel modelOf(Coding coding) {
  switch (coding) {
    case Coding::gray:
      return ColorModel::gray;
    case Coding::cmyk:
    case Coding::ycck:
      return ColorModel::cmyk;
    case Coding::rgb:
    case Coding::ycc:
      break;
  }
  return ColorModel::rgb;
}

class Source final : public CodecSource {
 public:
  Source(FileBytes file, std::vector<Picture> pictures, MultiPicture index)
      : file_(std::move(file)),
        pictures_(std::move(pictures)),
        index_(std::move(index)),
        whole_(pictures_.size()) {}

  [[nodiscard]] std::size_t count() const override { return pictures_.size(); }

  [[nodiscard]] FrameInfo info(std::size_t frame) const override {
    const Structure& header = pictures_[frame].header;
    return {.width = header.width, .height = header.height, .bitsPerComponent = 8};
  }

  [[nodiscard]] unsigned orientation(std::size_t frame) const override {
    constexpr std::uint8_t kApp1 = 0xE1;
    for (const Segment& segment : pictures_[frame].header.segments) {
      if (hasIdentifier(segment, kApp1, "Exif")) return exifOrientation(segment.payload);
    }
    return 1;
  }

  [[nodiscard]] SourceStatus status() const override {
    for (std::size_t frame = 0; frame < count(); ++frame) {
      SourceStatus status = whole(frame).status;
      if (status.status == CGImageSourceStatus::complete) continue;
      if (frame > 0)
        status.cause = "its picture " + std::to_string(frame + 1) + ": " + status.cause;
      return status;
    }
    return {};
  }

  [[nodiscard]] Result<CGImage> image(std::size_t frame) const override {
    const Picture& picture = pictures_[frame];
    return CGImage{.width = picture.header.width,
                   .height = picture.header.height,
                   .layout = layoutOf(picture.coding),
                   .colorSpace = colorSpace(frame),
                   .openRows = [file = file_, bytes = picture.bytes,
                                coding = picture.coding] { return openRows(file, bytes, coding); },
                   .palette = nullptr};
  }

  [[nodiscard]] Result<FramePropertiesRef> properties(std::size_t frame) const override {
    const SourceStatus& read = whole(frame).status;
    if (read.status != CGImageSourceStatus::complete) return Error{read.cause};
    return FramePropertiesRef(std::make_shared<const Properties>(
        file_, wholeRef(frame), pictures_[frame], colorSpace(frame), index_, frame));
  }

  [[nodiscard]] Result<void> writable(const EncodeOptions& options) const override {
    for (std::size_t frame = 0; frame < count(); ++frame) {
      const auto own = properties(frame);
      if (!own) return own.error();
      const auto& known = static_cast<const Properties&>(**own);
      if (auto can = checkWritable(known, options); !can) return can;
    }
    return {};
  }

 private:
  // The walk to the end of a picture is made when it is first needed, and once.
  [[nodiscard]] const std::shared_ptr<const Structure>& wholeRef(std::size_t frame) const {
    const std::lock_guard lock(walking_);
    if (!whole_[frame]) {
      whole_[frame] = std::make_shared<const Structure>(
          readStructure(pictures_[frame].bytes, Extent::wholeFile, file_.get()));
    }
    return whole_[frame];
  }
  [[nodiscard]] const Structure& whole(std::size_t frame) const { return *wholeRef(frame); }

  [[nodiscard]] CGColorSpaceRef colorSpace(std::size_t frame) const {
    return std::make_shared<const CGColorSpace>(CGColorSpace{
        .model = modelOf(pictures_[frame].coding), .profile = iccProfile(whole(frame).segments)});
  }

  FileBytes file_;
  std::vector<Picture> pictures_;
  MultiPicture index_;
  mutable std::mutex walking_;
  mutable std::vector<std::shared_ptr<const Structure>> whole_;
};

Result<void> checkKind(const Structure& header) {
  if (header.status.status != CGImageSourceStatus::complete) return Error{header.status.cause};
  switch (header.frameMarker) {
    case 0xC0:
    case 0xC1:
    case 0xC2:
    case 0xC9:
    case 0xCA:
      break;
    case 0xC3:
    case 0xCB:
      return Error{"lossless JPEG is not supported"};
    default:
      return Error{"hierarchical JPEG is not supported"};
  }
  if (header.precision != 8) {
    return Error{"JPEG with " + std::to_string(header.precision) +
                 " bits a sample is not supported, only 8"};
  }
  if (header.height == 0) {
    return Error{"its height is given after the pixels, which is not supported"};
  }
  return {};
}

// What the decoder and the encoder keep of a picture that comes in several scans: every
// coefficient, twice over when it is written again.
std::uint64_t coefficientBytes(const Structure& header) {
  constexpr std::uint64_t kBlockBytes = 128;
  std::uint64_t horizontal = 1;
  std::uint64_t vertical = 1;
  for (const Component& component : header.components) {
    horizontal = std::max<std::uint64_t>(horizontal, component.horizontalSampling);
    vertical = std::max<std::uint64_t>(vertical, component.verticalSampling);
  }
  const std::uint64_t unitsAcross = (header.width + 8 * horizontal - 1) / (8 * horizontal);
  const std::uint64_t unitsDown = (header.height + 8 * vertical - 1) / (8 * vertical);
  std::uint64_t blocks = 0;
  for (const Component& component : header.components) {
    blocks += unitsAcross * unitsDown * component.horizontalSampling * component.verticalSampling;
  }
  return blocks * kBlockBytes * 2;
}

Result<void> checkLimits(const Structure& header, const Limits& limits) {
  const std::uint64_t pixels = std::uint64_t{header.width} * header.height;
  if (pixels > limits.maxPixels) {
    return Error{"it has " + std::to_string(pixels) + " pixels, more than the " +
                 std::to_string(limits.maxPixels) + " allowed (--max-pixels)"};
  }
  if (header.severalScans() && coefficientBytes(header) > limits.maxMemoryBytes) {
    constexpr std::uint64_t kMiB = 1 << 20;
    return Error{"a progressive picture of this size takes " +
                 std::to_string((coefficientBytes(header) + kMiB - 1) / kMiB) +
                 " MiB of memory, more than the " + std::to_string(limits.maxMemoryBytes / kMiB) +
                 " MiB allowed (--max-memory)"};
  }
  return {};
}

Result<Picture> openPicture(std::span<const std::byte> bytes, const Limits& limits) {
  Picture picture{.bytes = bytes,
                  .laterBytes = {},
                  .header = readStructure(bytes, Extent::toFirstScan),
                  .coding = {}};
  if (auto kind = checkKind(picture.header); !kind) return std::move(kind).error();
  if (auto within = checkLimits(picture.header, limits); !within) return std::move(within).error();
  auto coding = readCoding(bytes);
  if (!coding) return std::move(coding).error();
  picture.coding = *coding;
  return picture;
}

Result<std::unique_ptr<CodecSource>> open(FileBytes file, const Limits& limits) {
  std::vector<Picture> pictures;
  auto first = openPicture(file->bytes(), limits);
  if (!first) return std::move(first).error();
  pictures.push_back(*std::move(first));
  MultiPicture index = readMultiPicture(file->bytes(), pictures.front().header.segments);
  if (index.index) {
    const auto& places = index.index->pictures;
    pictures.front().bytes = file->bytes().first(places.front().limit);
    for (std::size_t i = 1; i < places.size(); ++i) {
      const auto bytes = file->bytes().subspan(places[i].begin, places[i].limit - places[i].begin);
      if (places[i].gainMap) {
        pictures.back().laterBytes.push_back(bytes.subspan(places[i].size));
        continue;
      }
      auto further = openPicture(bytes, limits);
      if (!further) {
        return Error{"its picture " + std::to_string(i + 1) + ": " + further.error().message};
      }
      pictures.push_back(*std::move(further));
    }
  }
  return std::unique_ptr<CodecSource>(
      std::make_unique<Source>(std::move(file), std::move(pictures), std::move(index)));
}

}  // namespace
}  // namespace jpeg

const Codec kJpegCodec = {.type = "public.jpeg",
                          .displayName = "JPEG",
                          .matches = &jpeg::matches,
                          .open = &jpeg::open,
                          .createWriter = &jpeg::createWriter};

}  // namespace kelvo
