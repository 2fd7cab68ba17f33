#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {
namespace {

constexpr std::string_view kSource = R"(
kernel vec4 colorInvert(sampler image) {
  vec4 p = unpremultiply(sample(image, samplerCoord(image)));
  p.rgb = 1.0 - p.rgb;
  return premultiply(p);
})";

class ColorInvert final : public BuiltInFilter {
 public:
  explicit ColorInvert(CIKernelRef kernel) : BuiltInFilter(std::move(kernel)) {}

 private:
  [[nodiscard]] std::vector<CIKernelArgument> arguments() const override { return {}; }
};

}  // namespace

CIFilterRef makeColorInvert() {
  static const CIKernelRef kernel = compileBuiltIn(kSource);
  return std::make_shared<ColorInvert>(kernel);
}

}  // namespace kelvo
