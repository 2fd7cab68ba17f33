#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {
namespace {

constexpr std::string_view kSource = R"(
kernel vec4 colorMonochrome(sampler image, vec3 color, float intensity) {
  vec4 p = unpremultiply(sample(image, samplerCoord(image)));
  float y = dot(p.rgb, vec3(0.2125, 0.7154, 0.0721));
  p.rgb = p.rgb + (y * color - p.rgb) * intensity;
  return premultiply(p);
})";

const CIColor kDefaultColor{0.6, 0.45, 0.3, 1};
constexpr double kDefaultIntensity = 1;

class ColorMonochrome final : public BuiltInFilter {
 public:
  explicit ColorMonochrome(CIKernelRef kernel) : BuiltInFilter(std::move(kernel)) {
    declareInput("inputColor", &color_);
    declareInput("inputIntensity", &intensity_);
  }
  void setDefaults() override {
    color_ = kDefaultColor;
    intensity_ = kDefaultIntensity;
  }

 private:
  // The colour goes in as plain numbers: its alpha takes no part.
  [[nodiscard]] std::vector<CIKernelArgument> arguments() const override {
    const CIColor color = color_.value_or(kDefaultColor);
    return {CIVector::vectorWithX_Y_Z(color.red(), color.green(), color.blue()),
            intensity_.value_or(kDefaultIntensity)};
  }

  std::optional<CIColor> color_ = kDefaultColor;
  std::optional<NSNumber> intensity_ = kDefaultIntensity;
};

}  // namespace

CIFilterRef makeColorMonochrome() {
  static const CIKernelRef kernel = compileBuiltIn(kSource);
  return std::make_shared<ColorMonochrome>(kernel);
}

}  // namespace kelvo
