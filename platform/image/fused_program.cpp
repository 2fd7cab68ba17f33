#include "platform/image/fused_program.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <unordered_map>
#include <utility>

#include "platform/image/strip_renderer.h"

namespace kelvo {

using kernel_language::Builder;
using kernel_language::Op;
using kernel_language::Pixel;
using kernel_language::SampledImage;
using kernel_language::SamplerArgument;
using kernel_language::ValueId;

namespace {

// Kernels see colours as they see pixels.
std::vector<float> premultiplied(const CIColor& color) {
  const auto alpha = static_cast<float>(color.alpha());
  return {static_cast<float>(color.red()) * alpha, static_cast<float>(color.green()) * alpha,
          static_cast<float>(color.blue()) * alpha, alpha};
}

std::vector<float> numbers(const CIKernelArgument& argument) {
  if (const auto* number = std::get_if<double>(&argument)) return {static_cast<float>(*number)};
  if (const auto* color = std::get_if<CIColor>(&argument)) return premultiplied(*color);
  std::vector<float> values;
  if (const auto* vector = std::get_if<CIVector>(&argument)) {
    for (std::size_t i = 0; i < vector->count(); ++i) {
      values.push_back(static_cast<float>(vector->valueAtIndex(i)));
    }
  }
  return values;
}

class Fuser {
 public:
  Fuser(const CGRect& extent, std::uint64_t maxMemoryBytes)
      : extent_(extent), maxMemoryBytes_(maxMemoryBytes) {}

  Result<FusedProgram> run(const CIImage& image) {
    const Pixel result = pixelHere(image);
    if (failure_) return *failure_;
    const auto alpha = builder_.constantValue(result[3]);
    fused_.extent = extent_;
    fused_.program = builder_.finish(result);
    fused_.opaque = alpha && *alpha == 1.0F;
    fused_.positional = std::ranges::any_of(fused_.program.instructions, [](const auto& i) {
      return i.op == Op::destX || i.op == Op::destY;
    });
    return std::move(fused_);
  }

 private:
  // The picture's pixel at the place being computed: transparent outside the picture's extent.
  Pixel pixelHere(const CIImage& image) {
    if (const auto known = known_.find(&image); known != known_.end()) return known->second;
    Pixel pixel = std::holds_alternative<CIImage::Source>(image.recipe())
                      ? sourcePixel(std::get<CIImage::Source>(image.recipe()).image, image.extent())
                      : appliedPixel(std::get<CIImage::Applied>(image.recipe()));
    if (!image.extent().contains(extent_)) pixel = cutOff(pixel, image.extent());
    known_.emplace(&image, pixel);
    return pixel;
  }

  Pixel sourcePixel(const CGImage& source, const CGRect& extent) {
    const auto index = static_cast<std::uint32_t>(fused_.sources.size());
    fused_.sources.push_back({source, static_cast<std::int64_t>(extent.x - extent_.x),
                              static_cast<std::int64_t>(extent.y - extent_.y)});
    Pixel pixel{};
    for (std::uint32_t c = 0; c < 3; ++c) pixel[c] = builder_.input(index, c);
    const AlphaInfo alpha = source.layout.alpha;
    pixel[3] = alpha == AlphaInfo::none ? builder_.constant(1.0F) : builder_.input(index, 3);
    if (alpha == AlphaInfo::last) {
      for (std::size_t c = 0; c < 3; ++c) pixel[c] = builder_.binary(Op::mul, pixel[c], pixel[3]);
    }
    return pixel;
  }

  Pixel appliedPixel(const CIImage::Applied& applied) {
    std::vector<kernel_language::KernelArgument> arguments;
    for (std::size_t i = 0; i < applied.arguments.size(); ++i) {
      if (const auto* sampler = std::get_if<CISampler>(&applied.arguments[i])) {
        arguments.emplace_back(samplerArgument(*applied.kernel, static_cast<int>(i), *sampler));
      } else {
        arguments.emplace_back(numbers(applied.arguments[i]));
      }
    }
    auto result = kernel_language::emitKernel(*applied.kernel->program(), builder_, arguments);
    if (!result) {
      fail(std::move(result).error());
      return nothing();
    }
    return *result;
  }

  SamplerArgument samplerArgument(const CIKernel& kernel, int index, const CISampler& sampler) {
    const CIImage* image = sampler.image().get();
    const CGRect extent = image->extent();
    return {.sampleHere = [this, image](Builder&) { return pixelHere(*image); },
            .sampleAt = [this, image, &kernel, index](
                            Builder&, ValueId x,
                            ValueId y) { return pixelAt(*image, kernel, index, x, y); },
            .extent = {static_cast<float>(extent.x - extent_.x),
                       static_cast<float>(extent.y - extent_.y), static_cast<float>(extent.width),
                       static_cast<float>(extent.height)}};
  }

  // Anywhere in the picture: it is computed beforehand, as far as the kernel says it needs it.
  Pixel pixelAt(const CIImage& image, const CIKernel& kernel, int index, ValueId x, ValueId y) {
    auto prepared = prepared_.find(&image);
    if (prepared == prepared_.end()) {
      CGRect region = image.extent();
      if (kernel.regionOfInterest()) {
        region = CGRectIntersection(region, kernel.regionOfInterest()(index, extent_));
      }
      prepared = prepared_.emplace(&image, Prepared{prepare(image, region), region}).first;
    }
    const auto& [slot, region] = prepared->second;
    if (!slot) return nothing();
    const ValueId column = shifted(x, region.x - extent_.x);
    const ValueId row = shifted(y, region.y - extent_.y);
    Pixel pixel{};
    for (std::uint32_t c = 0; c < 4; ++c) pixel[c] = builder_.sampleImage(*slot, c, column, row);
    return pixel;
  }

  ValueId shifted(ValueId coordinate, double by) {
    return by == 0
               ? coordinate
               : builder_.binary(Op::sub, coordinate, builder_.constant(static_cast<float>(by)));
  }

  std::optional<std::uint32_t> prepare(const CIImage& image, const CGRect& region) {
    const double bytes = region.width * region.height * 4 * sizeof(float);
    if (region.empty() || bytes > static_cast<double>(maxMemoryBytes_)) {
      fail({"a picture that a filter looks up takes more memory than allowed (--max-memory)"});
      return std::nullopt;
    }
    auto pixels = renderFloats(image, region, maxMemoryBytes_);
    if (!pixels) {
      fail(std::move(pixels).error());
      return std::nullopt;
    }
    fused_.images.push_back(
        {static_cast<std::uint32_t>(region.width), static_cast<std::uint32_t>(region.height),
         std::make_shared<const std::vector<float>>(std::move(pixels).value())});
    return static_cast<std::uint32_t>(fused_.images.size() - 1);
  }

  Pixel cutOff(const Pixel& pixel, const CGRect& extent) {
    const auto number = [&](double v) { return builder_.constant(static_cast<float>(v)); };
    const double left = extent.x - extent_.x;
    const double top = extent.y - extent_.y;
    const ValueId x = builder_.destX();
    const ValueId y = builder_.destY();
    ValueId inside = builder_.binary(Op::lessEqual, number(left), x);
    inside = builder_.binary(Op::maskAnd, inside,
                             builder_.binary(Op::less, x, number(left + extent.width)));
    inside = builder_.binary(Op::maskAnd, inside, builder_.binary(Op::lessEqual, number(top), y));
    inside = builder_.binary(Op::maskAnd, inside,
                             builder_.binary(Op::less, y, number(top + extent.height)));
    Pixel cut{};
    for (std::size_t c = 0; c < 4; ++c) {
      cut[c] = builder_.select(inside, pixel[c], builder_.constant(0.0F));
    }
    return cut;
  }

  Pixel nothing() {
    const ValueId zero = builder_.constant(0.0F);
    return {zero, zero, zero, zero};
  }

  void fail(Error error) {
    if (!failure_) failure_ = std::move(error);
  }

  struct Prepared {
    std::optional<std::uint32_t> slot;
    CGRect region;
  };

  CGRect extent_;
  std::uint64_t maxMemoryBytes_;
  Builder builder_;
  FusedProgram fused_;
  std::unordered_map<const CIImage*, Pixel> known_;
  std::unordered_map<const CIImage*, Prepared> prepared_;
  std::optional<Error> failure_;
};

}  // namespace

std::vector<PixelLayout> FusedProgram::layouts() const {
  std::vector<PixelLayout> layouts;
  layouts.reserve(sources.size());
  for (const PlacedSource& source : sources) layouts.push_back(source.image.layout);
  return layouts;
}

Result<FusedProgram> fuse(const CIImage& image, const CGRect& extent,
                          std::uint64_t maxMemoryBytes) {
  return Fuser(extent, maxMemoryBytes).run(image);
}

}  // namespace kelvo
