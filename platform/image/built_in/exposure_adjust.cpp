#include <cmath>

#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {
namespace {

// Linear light times 2^EV. The transfer curve is that of IEC 61966-2-1 (sRGB), odd-symmetric below
// 0 and continued above 1, so that nothing is lost between filters.
constexpr std::string_view kSource = R"(
vec3 decode(vec3 c) {
  vec3 m = abs(c);
  return sign(c) * compare(m - 0.04045, m / 12.92, pow((m + 0.055) / 1.055, vec3(2.4)));
}
vec3 encode(vec3 c) {
  vec3 m = abs(c);
  return sign(c) * compare(m - 0.0031308, m * 12.92, 1.055 * pow(m, vec3(1.0 / 2.4)) - 0.055);
}
kernel vec4 exposureAdjust(sampler image, float gain) {
  vec4 p = unpremultiply(sample(image, samplerCoord(image)));
  p.rgb = encode(decode(p.rgb) * gain);
  return premultiply(p);
})";

constexpr double kDefaultEV = 0;

class ExposureAdjust final : public BuiltInFilter {
 public:
  explicit ExposureAdjust(CIKernelRef kernel) : BuiltInFilter(std::move(kernel)) {
    declareInput("inputEV", &ev_);
  }
  void setDefaults() override { ev_ = kDefaultEV; }

 private:
  [[nodiscard]] std::vector<CIKernelArgument> arguments() const override {
    return {std::exp2(ev_.value_or(kDefaultEV))};
  }

  std::optional<NSNumber> ev_ = kDefaultEV;
};

}  // namespace

CIFilterRef makeExposureAdjust() {
  static const CIKernelRef kernel = compileBuiltIn(kSource);
  return std::make_shared<ExposureAdjust>(kernel);
}

}  // namespace kelvo
