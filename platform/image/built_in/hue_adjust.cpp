#include <cmath>
#include <numbers>

#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {
namespace {

constexpr std::string_view kSource = R"(
kernel vec4 hueAdjust(sampler image, vec3 red, vec3 green, vec3 blue) {
  vec4 p = unpremultiply(sample(image, samplerCoord(image)));
  p.rgb = vec3(dot(red, p.rgb), dot(green, p.rgb), dot(blue, p.rgb));
  return premultiply(p);
})";

constexpr double kDefaultAngle = 0;

class HueAdjust final : public BuiltInFilter {
 public:
  explicit HueAdjust(CIKernelRef kernel) : BuiltInFilter(std::move(kernel)) {
    declareInput("inputAngle", &angle_);
  }
  void setDefaults() override { angle_ = kDefaultAngle; }

 private:
  // The rotation about the neutral axis (1, 1, 1) by Rodrigues' formula. Its matrix is circulant,
  // with rows (own, previous, next), (next, own, previous), (previous, next, own). Positive angles
  // turn red towards green.
  [[nodiscard]] std::vector<CIKernelArgument> arguments() const override {
    const double angle = angle_.value_or(kDefaultAngle);
    const double shared = (1 - std::cos(angle)) / 3;
    const double turned = std::sin(angle) / std::numbers::sqrt3;
    const double own = std::cos(angle) + shared;
    const double previous = shared - turned;
    const double next = shared + turned;
    return {CIVector::vectorWithX_Y_Z(own, previous, next),
            CIVector::vectorWithX_Y_Z(next, own, previous),
            CIVector::vectorWithX_Y_Z(previous, next, own)};
  }

  std::optional<NSNumber> angle_ = kDefaultAngle;
};

}  // namespace

CIFilterRef makeHueAdjust() {
  static const CIKernelRef kernel = compileBuiltIn(kSource);
  return std::make_shared<HueAdjust>(kernel);
}

}  // namespace kelvo
