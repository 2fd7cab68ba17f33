#include "fuzz/image_io/codec_fuzzer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo::fuzz {
namespace {

// Small, so that inputs are about structure and not about size.
constexpr Limits kLimits = {.maxPixels = 1 << 18, .maxFrames = 20, .maxMemoryBytes = 32 << 20};
constexpr std::uint32_t kStripRows = 16;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

bool decode(const CGImage& image) {
  auto rows = image.openRows();
  if (!rows) return false;
  std::vector<std::byte> strip(std::size_t{image.width} * image.layout.pixelBytes() * kStripRows);
  for (std::uint32_t y = 0; y < image.height; y += kStripRows) {
    const std::uint32_t count = std::min(kStripRows, image.height - y);
    const auto pixels = std::span(strip).first(strip.size() / kStripRows * count);
    if (!(*rows)->read(pixels, count)) return false;
  }
  return true;
}

// What the renderer would hand to a writer for the same colours: 8 bits, premultiplied if there is
// alpha.
class RenderedRows final : public RowSource {
 public:
  RenderedRows(std::unique_ptr<RowSource> rows, PixelLayout from, PixelLayout to)
      : rows_(std::move(rows)), from_(from), to_(to) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    const std::size_t count = pixels.size() / to_.components;
    buffer_.resize(count * from_.pixelBytes());
    if (auto read = rows_->read(buffer_, rows); !read) return read;
    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t c = 0; c < to_.components; ++c) {
        pixels[i * to_.components + c] = static_cast<std::byte>(sample(i, c));
      }
    }
    return {};
  }

 private:
  [[nodiscard]] unsigned stored(std::size_t index) const {
    if (from_.type == SampleType::u8) return std::to_integer<unsigned>(buffer_[index]);
    std::uint16_t wide = 0;
    std::memcpy(&wide, buffer_.data() + 2 * index, 2);
    return wide >> 8;
  }
  [[nodiscard]] unsigned sample(std::size_t pixel, std::size_t component) const {
    const unsigned value = stored(pixel * from_.components + component);
    if (from_.alpha != AlphaInfo::last || component == 3) return value;
    return (value * stored(pixel * from_.components + 3) + 127) / 255;
  }

  std::unique_ptr<RowSource> rows_;
  PixelLayout from_;
  PixelLayout to_;
  std::vector<std::byte> buffer_;
};

CGImage rendered(const CGImage& image) {
  if (image.palette) return image;
  CGImage result = image;
  result.layout.type = SampleType::u8;
  if (image.layout.alpha != AlphaInfo::none) result.layout.alpha = AlphaInfo::premultipliedLast;
  result.openRows = [image, to = result.layout]() -> Result<std::unique_ptr<RowSource>> {
    auto rows = image.openRows();
    if (!rows) return std::move(rows).error();
    return std::unique_ptr<RowSource>(
        std::make_unique<RenderedRows>(*std::move(rows), image.layout, to));
  };
  return result;
}

// False where the file cannot be written, for whatever reason.
bool write(const Codec& codec, const CodecSource& source, OutputFile& output) {
  auto writer = codec.createWriter(output, source.count(), {});
  if (!writer) return false;
  for (std::size_t frame = 0; frame < source.count(); ++frame) {
    const auto image = source.image(frame);
    const auto properties = source.properties(frame);
    if (!image || !properties || image->colorSpace->model != ColorModel::rgb ||
        image->layout.type == SampleType::f32) {
      return false;
    }
    if (!(*writer)->addImage(rendered(*image), **properties)) return false;
  }
  return (*writer)->finish() && output.flush();
}

void checkReadsBack(const Codec& codec, const CodecSource& original, int descriptor) {
  const auto file = MappedFile::fromDescriptor(descriptor);
  if (!file) fail("the new file cannot be mapped");
  if (!codec.matches((*file)->bytes().first(std::min<std::size_t>(64, (*file)->bytes().size())))) {
    fail("the new file is of another format");
  }
  const auto source = codec.open(*file, kLimits);
  if (!source) fail(source.error().message.c_str());
  const SourceStatus status = (*source)->status();
  if (status.status != CGImageSourceStatus::complete) fail(status.cause.c_str());
  if ((*source)->count() != original.count()) fail("the new file has another number of frames");
  for (std::size_t frame = 0; frame < original.count(); ++frame) {
    const FrameInfo before = original.info(frame);
    const FrameInfo after = (*source)->info(frame);
    if (before.width != after.width || before.height != after.height) {
      fail("a new frame has another size");
    }
    const auto image = (*source)->image(frame);
    if (!image || !decode(*image)) fail("a new frame cannot be decoded");
  }
}

}  // namespace

int fuzzCodec(const Codec& codec, const std::uint8_t* data, std::size_t size) {
  const auto* const bytes = reinterpret_cast<const std::byte*>(data);
  if (!codec.matches({bytes, std::min<std::size_t>(size, 4096)})) return -1;
  const auto source = codec.open(MappedFile::fromBytes({bytes, bytes + size}), kLimits);
  if (!source) return 0;
  const SourceStatus status = (*source)->status();
  bool whole = status.status == CGImageSourceStatus::complete && (*source)->writable();
  const std::size_t frames = std::min<std::size_t>((*source)->count(), kLimits.maxFrames);
  for (std::size_t frame = 0; frame < frames; ++frame) {
    const auto image = (*source)->image(frame);
    whole = image && decode(*image) && whole;
  }
  if (!whole || codec.createWriter == nullptr || (*source)->count() > frames) return 0;
  const FileDescriptor file(::memfd_create("new", MFD_CLOEXEC));
  OutputFile output(file.get());
  if (write(codec, **source, output)) checkReadsBack(codec, **source, file.get());
  return 0;
}

}  // namespace kelvo::fuzz
