#include "platform/image/built_in/built_in_filter.h"

#include <array>
#include <cassert>

namespace kelvo {

std::span<const BuiltInFilterDescription> builtInFilters() {
  static constexpr std::array<BuiltInFilterDescription, 9> kFilters{{
      {"CIColorPosterize", makeColorPosterize},
      {"CIColorInvert", makeColorInvert},
      {"CIExposureAdjust", makeExposureAdjust},
      {"CIColorControls", makeColorControls},
      {"CIColorMatrix", makeColorMatrix},
      {"CIColorMonochrome", makeColorMonochrome},
      {"CIHistogram", makeHistogram},
      {"CIHueAdjust", makeHueAdjust},
      {"CISourceOverCompositing", makeSourceOverCompositing},
  }};
  return kFilters;
}

BuiltInFilter::BuiltInFilter(CIKernelRef kernel) : kernel_(std::move(kernel)) {
  declareInput("inputImage", &inputImage_);
}

CIImageRef BuiltInFilter::outputImage() const {
  const CISampler sampler = CISampler::samplerWithImage(inputImage_);
  std::vector<CIKernelArgument> all{sampler};
  for (CIKernelArgument& argument : arguments()) all.push_back(std::move(argument));
  return apply(kernel_, std::move(all), {{kCIApplyOptionDefinition, sampler.definition()}});
}

CIKernelRef compileBuiltIn(std::string_view source) {
  const std::vector<CIKernelRef> kernels = CIKernel::kernelsWithString(source);
  assert(!kernels.empty());
  return kernels.empty() ? nullptr : kernels.front();
}

}  // namespace kelvo
