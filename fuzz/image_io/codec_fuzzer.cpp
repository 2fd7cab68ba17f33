#include "fuzz/image_io/codec_fuzzer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

#include "engine/basic_adjustments.h"
#include "engine/equalize.h"
#include "platform/image/ci_image.h"
#include "platform/image/render.h"
#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo::fuzz {
namespace {

// Small, so that inputs are about structure and not about size.
constexpr Limits kLimits = {.maxPixels = 1 << 18, .maxFrames = 20, .maxMemoryBytes = 32 << 20};
constexpr std::uint32_t kStripRows = 16;

enum class Change { none, invert, equalize };

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

// What the action would hand to a writer.
Result<CGImage> rendered(const CGImage& image, Change change) {
  auto inDeviceRGB = CGImageCreateCopyWithColorSpace(image, CGColorSpaceCreateDeviceRGB());
  if (!inDeviceRGB) return std::move(inDeviceRGB).error();
  CIImageRef recipe = CIImage::imageWithCGImage(*std::move(inDeviceRGB));
  if (!recipe) return Error{"not an RGB picture"};
  if (change == Change::invert) recipe = applyInvertForCIImage(recipe);
  if (change == Change::equalize) recipe = applyEqualizeForCIImage(recipe);
  if (!recipe) return Error{"it cannot be measured"};
  return render(recipe, {.type = SampleType::u8,
                         .dropAlpha = image.layout.alpha == AlphaInfo::none,
                         .colorSpace = image.colorSpace,
                         .maxMemoryBytes = kLimits.maxMemoryBytes});
}

// False where the file cannot be written, for whatever reason.
bool write(const Codec& codec, const CodecSource& source, Change change, OutputFile& output) {
  auto writer = codec.createWriter(output, source.count(), {});
  if (!writer) return false;
  for (std::size_t frame = 0; frame < source.count(); ++frame) {
    const auto image = source.image(frame);
    const auto properties = source.properties(frame);
    if (!image || !properties) return false;
    const auto adjusted = rendered(*image, change);
    if (!adjusted || !(*writer)->addImage(*adjusted, **properties)) return false;
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
  const unsigned sum = std::accumulate(data, data + size, 0U);
  const FileDescriptor file(::memfd_create("new", MFD_CLOEXEC));
  OutputFile output(file.get());
  if (write(codec, **source, static_cast<Change>(sum % 3), output))
    checkReadsBack(codec, **source, file.get());
  return 0;
}

}  // namespace kelvo::fuzz
