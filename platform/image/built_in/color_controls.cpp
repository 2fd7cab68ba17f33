#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {
namespace {

constexpr std::string_view kSource = R"(
kernel vec4 colorControls(sampler image, float saturation, float brightness, float contrast) {
  vec4 p = unpremultiply(sample(image, samplerCoord(image)));
  float y = dot(p.rgb, vec3(0.2125, 0.7154, 0.0721));
  vec3 s = y + (p.rgb - y) * saturation;
  p.rgb = (s + brightness - 0.5) * contrast + 0.5;
  return premultiply(p);
})";

constexpr double kDefaultSaturation = 1;
constexpr double kDefaultBrightness = 0;
constexpr double kDefaultContrast = 1;

class ColorControls final : public BuiltInFilter {
 public:
  explicit ColorControls(CIKernelRef kernel) : BuiltInFilter(std::move(kernel)) {
    declareInput("inputSaturation", &saturation_);
    declareInput("inputBrightness", &brightness_);
    declareInput("inputContrast", &contrast_);
  }
  void setDefaults() override {
    saturation_ = kDefaultSaturation;
    brightness_ = kDefaultBrightness;
    contrast_ = kDefaultContrast;
  }

 private:
  [[nodiscard]] std::vector<CIKernelArgument> arguments() const override {
    return {saturation_.value_or(kDefaultSaturation), brightness_.value_or(kDefaultBrightness),
            contrast_.value_or(kDefaultContrast)};
  }

  std::optional<NSNumber> saturation_ = kDefaultSaturation;
  std::optional<NSNumber> brightness_ = kDefaultBrightness;
  std::optional<NSNumber> contrast_ = kDefaultContrast;
};

}  // namespace

CIFilterRef makeColorControls() {
  static const CIKernelRef kernel = compileBuiltIn(kSource);
  return std::make_shared<ColorControls>(kernel);
}

}  // namespace kelvo
