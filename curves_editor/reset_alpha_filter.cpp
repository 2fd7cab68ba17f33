#include "curves_editor/reset_alpha_filter.h"

#include <memory>
#include <mutex>

namespace kelvo {
namespace {

constexpr std::string_view kSource =
    "kernel vec4 resetAlpha(sampler image) {"
    "  return vec4(sample(image, samplerCoord(image)).rgb, 1.0);"
    "}";

const CIKernelRef& kernel() {
  static const CIKernelRef compiled = CIKernel::kernelsWithString(kSource).front();
  return compiled;
}

}  // namespace

void TQResetAlphaFilter::initialize() {
  static std::once_flag registered;
  std::call_once(registered, [] {
    registerFilterName_constructor_classAttributes(
        "TQResetAlphaFilter", filterWithName,
        {{kCIAttributeFilterDisplayName, std::string("Reset Alpha")}});
  });
}

CIFilterRef TQResetAlphaFilter::filterWithName(std::string_view /*name*/) {
  return std::make_shared<TQResetAlphaFilter>();
}

TQResetAlphaFilter::TQResetAlphaFilter() { declareInput("inputImage", &inputImage); }

CIImageRef TQResetAlphaFilter::outputImage() const {
  const CISampler sampler = CISampler::samplerWithImage(inputImage);
  return apply(kernel(), {sampler}, {{kCIApplyOptionDefinition, sampler.definition()}});
}

}  // namespace kelvo
