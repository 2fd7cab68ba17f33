#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {
namespace {

// L equal bins, L output values: min(floor(c L), L - 1) / (L - 1), c limited to 0…1.
constexpr std::string_view kSource = R"(
kernel vec4 colorPosterize(sampler image, float levels) {
  vec4 p = unpremultiply(sample(image, samplerCoord(image)));
  vec3 bin = min(floor(clamp(p.rgb, 0.0, 1.0) * levels), vec3(levels - 1.0));
  p.rgb = bin / (levels - 1.0);
  return premultiply(p);
})";

constexpr double kDefaultLevels = 6;

class ColorPosterize final : public BuiltInFilter {
 public:
  explicit ColorPosterize(CIKernelRef kernel) : BuiltInFilter(std::move(kernel)) {
    declareInput("inputLevels", &levels_);
  }
  void setDefaults() override { levels_ = kDefaultLevels; }

 private:
  [[nodiscard]] std::vector<CIKernelArgument> arguments() const override {
    const double levels = levels_.value_or(kDefaultLevels);
    return {levels >= 2 ? levels : 2.0};
  }

  std::optional<NSNumber> levels_ = kDefaultLevels;
};

}  // namespace

CIFilterRef makeColorPosterize() {
  static const CIKernelRef kernel = compileBuiltIn(kSource);
  return std::make_shared<ColorPosterize>(kernel);
}

}  // namespace kelvo
