#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/image_io/codec_module.h"
#include "platform/image_io/jxl/decoder.h"
#include "platform/image_io/jxl/jxl_file.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo::jxl {
namespace {

class DecodedRows final : public RowSource {
 public:
  DecodedRows(JxlFileRef file, std::size_t frame) : file_(std::move(file)), frame_(frame) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t) override {
    if (!decoded_) {
      auto all = decodeFrame(*file_, frame_);
      if (!all) return std::move(all).error();
      picture_ = *std::move(all);
      decoded_ = true;
    }
    if (pixels.size() > picture_.size() - position_) return Error{"there are no more rows"};
    std::copy_n(picture_.begin() + static_cast<std::ptrdiff_t>(position_), pixels.size(),
                pixels.begin());
    position_ += pixels.size();
    return {};
  }

 private:
  JxlFileRef file_;
  std::size_t frame_;
  std::vector<std::byte> picture_;
  std::size_t position_ = 0;
  bool decoded_ = false;
};

class Source final : public CodecSource {
 public:
  explicit Source(JxlFileRef file) : file_(std::move(file)) {}

  [[nodiscard]] std::size_t count() const override { return file_->headers.frames.size(); }

  [[nodiscard]] FrameInfo info(std::size_t frame) const override {
    const Frame& wanted = file_->headers.frames[frame];
    return {.width = wanted.width,
            .height = wanted.height,
            .bitsPerComponent = file_->headers.info.bits_per_sample};
  }

  [[nodiscard]] unsigned orientation(std::size_t /*frame*/) const override {
    return static_cast<unsigned>(file_->headers.info.orientation);
  }

  [[nodiscard]] SourceStatus status() const override {
    if (file_->container.status.status != CGImageSourceStatus::complete) {
      return file_->container.status;
    }
    return file_->headers.status;
  }

  [[nodiscard]] Result<CGImage> image(std::size_t frame) const override {
    const Frame& wanted = file_->headers.frames[frame];
    if (auto fits = checkMemory(*file_, wanted, Use::decode); !fits) {
      return std::move(fits).error();
    }
    if (file_->jpeg) {
      if (!file_->headers.obstacle.empty()) return Error{file_->headers.obstacle};
      const auto jpeg = file_->jpeg->open();
      if (!jpeg) return jpeg.error();
      auto image = (*jpeg)->image(frame);
      if (image && (image->width != wanted.width || image->height != wanted.height)) {
        return Error{"the JPEG that it holds is of another size"};
      }
      if (image) {
        // The rows are of the JPEG, which is the file's.
        image->openRows = [file = file_, rows = image->openRows] { return rows(); };
      }
      return image;
    }
    const Headers& headers = file_->headers;
    const ColorModel model = headers.info.num_color_channels == 1 ? ColorModel::gray
                             : headers.keyed                      ? ColorModel::cmyk
                                                                  : ColorModel::rgb;
    CGColorSpace space = {.model = model, .profile = headers.profile};
    return CGImage{.width = wanted.width,
                   .height = wanted.height,
                   .layout = layoutOf(headers),
                   .colorSpace = std::make_shared<const CGColorSpace>(std::move(space)),
                   .openRows = [file = file_, frame]() -> Result<std::unique_ptr<RowSource>> {
                     return std::unique_ptr<RowSource>(std::make_unique<DecodedRows>(file, frame));
                   },
                   .palette = nullptr};
  }

  [[nodiscard]] Result<FramePropertiesRef> properties(std::size_t frame) const override {
    return FramePropertiesRef(std::make_shared<const JxlProperties>(file_, frame));
  }

  [[nodiscard]] Result<void> writable(const EncodeOptions& options) const override {
    return checkWritable(*file_, options);
  }

 private:
  JxlFileRef file_;
};

}  // namespace

Result<std::unique_ptr<CodecSource>> openJxl(FileBytes file, const Limits& limits) {
  auto opened = std::make_shared<JxlFile>();
  opened->container = readContainer(file->bytes(), limits.maxMemoryBytes);
  opened->bytes = std::move(file);
  opened->limits = limits;
  const Container& container = opened->container;
  if (container.has(kReconstruction)) {
    opened->jpeg = std::make_unique<const JpegInside>(opened->bytes->bytes(), limits);
  }
  if (container.codestream.empty() && !container.status.cause.empty()) {
    return Error{container.status.cause};
  }
  auto headers = readHeaders(container.codestream, limits);
  if (!headers) return std::move(headers).error();
  opened->headers = *std::move(headers);
  return std::unique_ptr<CodecSource>(std::make_unique<Source>(std::move(opened)));
}

PixelLayout layoutOf(const Headers& headers) {
  PixelLayout layout;
  layout.components = headers.info.num_color_channels == 1 ? 1 : 3;
  const bool deep =
      headers.info.bits_per_sample > 8 || (headers.alpha && headers.alpha->bits_per_sample > 8);
  layout.type = deep ? SampleType::u16 : SampleType::u8;
  if (headers.alpha) {
    ++layout.components;
    layout.alpha =
        headers.alpha->alpha_premultiplied != 0 ? AlphaInfo::premultipliedLast : AlphaInfo::last;
  }
  return layout;
}

Result<void> checkWritable(const JxlFile& file, const EncodeOptions& options) {
  if (!file.container.status.cause.empty()) return Error{file.container.status.cause};
  if (!file.headers.status.cause.empty()) return Error{file.headers.status.cause};
  if (file.container.has(fourCC("jxli"))) {
    return Error{"an index of frames, which would not fit the new ones, cannot be made anew"};
  }
  if (file.container.has(fourCC("jhgm"))) return Error{"a gain map cannot be adjusted with it"};
  if (!file.headers.obstacle.empty()) return Error{file.headers.obstacle};
  for (const Frame& frame : file.headers.frames) {
    if (auto fits = checkMemory(file, frame, Use::rewrite); !fits) return fits;
  }
  if (!file.jpeg) return {};
  const auto jpeg = file.jpeg->open();
  if (!jpeg) return jpeg.error();
  const SourceStatus status = (*jpeg)->status();
  if (!status.cause.empty()) return Error{"of the JPEG that it holds: " + status.cause};
  return (*jpeg)->writable(options);
}

Result<void> checkMemory(const JxlFile& file, const Frame& frame, Use use) {
  // What the library and we hold at the most, by measurement.
  constexpr std::uint64_t kDecodeBytesPerPixel = 32;
  constexpr std::uint64_t kRewriteBytesPerPixel = 80;
  const std::uint64_t bytesPerPixel =
      use == Use::decode ? kDecodeBytesPerPixel : kRewriteBytesPerPixel;
  // Pictures that others refer to: up to four, of floating-point samples.
  constexpr std::uint64_t kReferenceBytesPerPixel = 64;
  const JxlBasicInfo& info = file.headers.info;
  std::uint64_t needed = std::uint64_t{frame.width} * frame.height * bytesPerPixel;
  if (file.headers.frames.size() > 1) {
    needed += std::uint64_t{info.xsize} * info.ysize * kReferenceBytesPerPixel;
  }
  const std::uint64_t hidden =
      file.headers.hiddenPixels * (kDecodeBytesPerPixel + kReferenceBytesPerPixel);
  needed += hidden;
  if (needed <= file.limits.maxMemoryBytes) return {};
  return Error{fmt::format(
      "a picture of {} x {} pixels{} takes {} bytes of memory, over the limit of {} (--max-memory)",
      frame.width, frame.height,
      hidden > 0 ? fmt::format(" that refers to one of {}", file.headers.hiddenPixels) : "", needed,
      file.limits.maxMemoryBytes)};
}

}  // namespace kelvo::jxl

extern "C" const kelvo::CodecModule* kelvoCodecModule() {
  static const kelvo::CodecModule module = {.open = &kelvo::jxl::openJxl,
                                            .createWriter = &kelvo::jxl::createJxlWriter};
  return &module;
}
