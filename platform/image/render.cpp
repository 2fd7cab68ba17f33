#include "platform/image/render.h"

#include <cmath>
#include <utility>

#include "platform/image/fused_program.h"
#include "platform/image/strip_renderer.h"
#include "platform/pixels/premultiply.h"

namespace kelvo {

using kernel_language::Executable;

namespace {

// Rows are numbered in 32 bits, and coordinates inside programs are exact up to 2^24; files beyond
// that are turned away by their codecs' limits long before.
constexpr double kLargestSide = 1 << 30;

constexpr PixelLayout kOpaque8{3, SampleType::u8, AlphaInfo::none};

bool isWhole(double value) { return std::floor(value) == value && std::abs(value) <= kLargestSide; }

PixelLayout resultLayout(const FusedProgram& fused, const RenderOptions& options) {
  if (options.type == SampleType::f32) {
    return {4, SampleType::f32, AlphaInfo::premultipliedLast};
  }
  if (fused.opaque || options.dropAlpha) return {3, options.type, AlphaInfo::none};
  return {4, options.type, AlphaInfo::premultipliedLast};
}

// The colour table of an indexed frame, adjusted like any row of pixels.
Palette mapPalette(const FusedProgram& fused, const Palette& palette) {
  const PixelLayout input = fused.sources.front().image.layout;
  const PixelLayout output =
      fused.opaque ? kOpaque8 : PixelLayout{4, SampleType::u8, AlphaInfo::premultipliedLast};
  std::vector<std::byte> from;
  for (const auto& entry : palette) {
    for (std::size_t c = 0; c < input.components; ++c) from.push_back(std::byte{entry[c]});
  }
  std::vector<std::byte> to(palette.size() * output.pixelBytes());
  const std::byte* inputs[] = {from.data()};
  Executable::compile(fused.program, fused.layouts(), output, fused.images)
      .run(inputs, to.data(), palette.size(), 0, 0);
  if (output.components == 4) {
    vImageUnpremultiplyData_RGBA8888({reinterpret_cast<std::uint8_t*>(to.data()), to.size()});
  }
  Palette mapped = palette;
  for (std::size_t i = 0; i < mapped.size(); ++i) {
    for (std::size_t c = 0; c < output.components; ++c) {
      mapped[i][c] = std::to_integer<std::uint8_t>(to[i * output.components + c]);
    }
  }
  return mapped;
}

// One source, whose pixels are those of the result, each in its place.
bool coversExtent(const FusedProgram& fused) {
  if (fused.sources.size() != 1 || fused.positional) return false;
  const PlacedSource& source = fused.sources.front();
  return source.x == 0 && source.y == 0 && source.image.width == fused.extent.width &&
         source.image.height == fused.extent.height;
}

bool staysIndexed(const FusedProgram& fused) {
  return coversExtent(fused) && fused.sources.front().image.palette != nullptr;
}

// The one source whose rows are the result's as they are: opaque, of 8 bits, and not altered.
const CGImage* unalteredSource(const FusedProgram& fused, const PixelLayout& layout) {
  if (!fused.opaque || layout != kOpaque8 || !coversExtent(fused) ||
      fused.sources.front().image.layout != kOpaque8) {
    return nullptr;
  }
  for (std::uint32_t c = 0; c < 3; ++c) {
    const auto& value = fused.program.instructions[fused.program.outputs[c]];
    if (value.op != kernel_language::Op::input || value.immediate != c) return nullptr;
  }
  return &fused.sources.front().image;
}

}  // namespace

Result<CGImage> render(const CIImageRef& image, const RenderOptions& options) {
  if (!image) return Error{"there is no image to render"};
  const CGRect& extent = image->extent();
  if (extent.empty()) return Error{"the image is empty"};
  if (!isWhole(extent.x) || !isWhole(extent.y) || !isWhole(extent.width) ||
      !isWhole(extent.height)) {
    return Error{"the image's extent is not a whole number of pixels"};
  }
  auto fused = fuse(*image, extent, options.maxMemoryBytes);
  if (!fused) return std::move(fused).error();
  const auto shared = std::make_shared<const FusedProgram>(std::move(fused).value());
  const PixelLayout layout = resultLayout(*shared, options);
  const Executable executable =
      Executable::compile(shared->program, shared->layouts(), layout, shared->images);

  CGImage result{
      .width = static_cast<std::uint32_t>(extent.width),
      .height = static_cast<std::uint32_t>(extent.height),
      .layout = layout,
      .colorSpace = options.colorSpace,
      .openRows = [shared, executable, layout]() { return openStrips(shared, executable, layout); },
      .palette = nullptr};
  if (const CGImage* source = unalteredSource(*shared, layout)) result.openRows = source->openRows;
  if (options.type == SampleType::u8 && staysIndexed(*shared)) {
    result.palette = std::make_shared<const Palette>(
        mapPalette(*shared, *shared->sources.front().image.palette));
  }
  return result;
}

}  // namespace kelvo
