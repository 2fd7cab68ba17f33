#include <algorithm>
#include <array>
#include <mutex>
#include <string>
#include <utility>

#include "platform/image_io/jpeg/jpeg_decoder.h"
#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/jpeg/jpeg_properties.h"
#include "platform/image_io/jpeg/jpeg_structure.h"
#include "platform/image_io/jpeg/jpeg_writer.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo {
namespace jpeg {

Properties::Properties(FileBytes file, std::shared_ptr<const Structure> structure, Coding coding,
                       CGColorSpaceRef colorSpace)
    : file_(std::move(file)),
      structure_(std::move(structure)),
      coding_(coding),
      colorSpace_(std::move(colorSpace)) {}

std::span<const std::byte> Properties::trailer() const {
  return file_->bytes().subspan(structure_->end);
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
  Source(FileBytes file, Structure header, Coding coding)
      : file_(std::move(file)), header_(std::move(header)), coding_(coding) {}

  [[nodiscard]] std::size_t count() const override { return 1; }

  [[nodiscard]] FrameInfo info(std::size_t) const override {
    return {.width = header_.width, .height = header_.height, .bitsPerComponent = 8};
  }

  [[nodiscard]] SourceStatus status() const override { return whole().status; }

  [[nodiscard]] Result<CGImage> image(std::size_t) const override {
    return CGImage{.width = header_.width,
                   .height = header_.height,
                   .layout = layoutOf(coding_),
                   .colorSpace = colorSpace(),
                   .openRows = [file = file_, coding = coding_] { return openRows(file, coding); },
                   .palette = nullptr};
  }

  [[nodiscard]] Result<FramePropertiesRef> properties(std::size_t) const override {
    const SourceStatus& read = whole().status;
    if (read.status != CGImageSourceStatus::complete) return Error{read.cause};
    return FramePropertiesRef(
        std::make_shared<const Properties>(file_, wholeRef(), coding_, colorSpace()));
  }

  [[nodiscard]] Result<void> writable() const override {
    const auto own = properties(0);
    if (!own) return own.error();
    return checkWritable(static_cast<const Properties&>(**own));
  }

 private:
  // The walk to the end of the file is made when it is first needed, and once.
  [[nodiscard]] const std::shared_ptr<const Structure>& wholeRef() const {
    std::call_once(wholeOnce_, [&] {
      whole_ = std::make_shared<const Structure>(readStructure(file_->bytes(), Extent::wholeFile));
    });
    return whole_;
  }
  [[nodiscard]] const Structure& whole() const { return *wholeRef(); }

  [[nodiscard]] CGColorSpaceRef colorSpace() const {
    return std::make_shared<const CGColorSpace>(
        CGColorSpace{.model = modelOf(coding_), .profile = iccProfile(whole().segments)});
  }

  FileBytes file_;
  Structure header_;
  Coding coding_;
  mutable std::once_flag wholeOnce_;
  mutable std::shared_ptr<const Structure> whole_;
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

Result<std::unique_ptr<CodecSource>> open(FileBytes file, const Limits& limits) {
  Structure header = readStructure(file->bytes(), Extent::toFirstScan);
  if (auto kind = checkKind(header); !kind) return std::move(kind).error();
  if (auto within = checkLimits(header, limits); !within) return std::move(within).error();
  auto coding = readCoding(file);
  if (!coding) return std::move(coding).error();
  return std::unique_ptr<CodecSource>(
      std::make_unique<Source>(std::move(file), std::move(header), *coding));
}

}  // namespace
}  // namespace jpeg

const Codec kJpegCodec = {.type = "public.jpeg",
                          .displayName = "JPEG",
                          .matches = &jpeg::matches,
                          .open = &jpeg::open,
                          .createWriter = &jpeg::createWriter};

}  // namespace kelvo
