#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {
namespace {

constexpr std::string_view kSource = R"(
kernel vec4 colorMatrix(sampler image, vec4 red, vec4 green, vec4 blue, vec4 alpha, vec4 bias) {
  vec4 p = unpremultiply(sample(image, samplerCoord(image)));
  return premultiply(vec4(dot(red, p), dot(green, p), dot(blue, p), dot(alpha, p)) + bias);
})";

const CIVector kDefaultRed = CIVector::vectorWithX_Y_Z_W(1, 0, 0, 0);
const CIVector kDefaultGreen = CIVector::vectorWithX_Y_Z_W(0, 1, 0, 0);
const CIVector kDefaultBlue = CIVector::vectorWithX_Y_Z_W(0, 0, 1, 0);
const CIVector kDefaultAlpha = CIVector::vectorWithX_Y_Z_W(0, 0, 0, 1);
const CIVector kDefaultBias = CIVector::vectorWithX_Y_Z_W(0, 0, 0, 0);

class ColorMatrix final : public BuiltInFilter {
 public:
  explicit ColorMatrix(CIKernelRef kernel) : BuiltInFilter(std::move(kernel)) {
    declareInput("inputRVector", &red_);
    declareInput("inputGVector", &green_);
    declareInput("inputBVector", &blue_);
    declareInput("inputAVector", &alpha_);
    declareInput("inputBiasVector", &bias_);
  }
  void setDefaults() override {
    red_ = kDefaultRed;
    green_ = kDefaultGreen;
    blue_ = kDefaultBlue;
    alpha_ = kDefaultAlpha;
    bias_ = kDefaultBias;
  }

 private:
  [[nodiscard]] std::vector<CIKernelArgument> arguments() const override {
    return {red_.value_or(kDefaultRed), green_.value_or(kDefaultGreen),
            blue_.value_or(kDefaultBlue), alpha_.value_or(kDefaultAlpha),
            bias_.value_or(kDefaultBias)};
  }

  std::optional<CIVector> red_ = kDefaultRed;
  std::optional<CIVector> green_ = kDefaultGreen;
  std::optional<CIVector> blue_ = kDefaultBlue;
  std::optional<CIVector> alpha_ = kDefaultAlpha;
  std::optional<CIVector> bias_ = kDefaultBias;
};

}  // namespace

CIFilterRef makeColorMatrix() {
  static const CIKernelRef kernel = compileBuiltIn(kSource);
  return std::make_shared<ColorMatrix>(kernel);
}

}  // namespace kelvo
