#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {
namespace {

// Porter and Duff, "Compositing digital images" (1984): the operator "over" on premultiplied
// colour.
constexpr std::string_view kSource = R"(
kernel vec4 sourceOver(sampler image, sampler background) {
  vec4 s = sample(image, samplerCoord(image));
  return s + sample(background, samplerCoord(background)) * (1.0 - s.a);
})";

class SourceOverCompositing final : public CIFilter {
 public:
  explicit SourceOverCompositing(CIKernelRef kernel) : kernel_(std::move(kernel)) {
    declareInput("inputImage", &image_);
    declareInput("inputBackgroundImage", &background_);
  }

  // The picture reaches as far as either input does.
  [[nodiscard]] CIImageRef outputImage() const override {
    return apply(kernel_,
                 {CISampler::samplerWithImage(image_), CISampler::samplerWithImage(background_)},
                 {});
  }

 private:
  CIKernelRef kernel_;
  CIImageRef image_;
  CIImageRef background_;
};

}  // namespace

CIFilterRef makeSourceOverCompositing() {
  static const CIKernelRef kernel = compileBuiltIn(kSource);
  return std::make_shared<SourceOverCompositing>(kernel);
}

}  // namespace kelvo
