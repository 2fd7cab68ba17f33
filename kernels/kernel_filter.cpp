#include "kernels/kernel_filter.h"

#include <algorithm>
#include <iterator>

namespace kelvo {

void KernelFilter::makeKernelOnce(CIKernelRef& kernel, std::string_view source) {
  if (!kernel) kernel = std::make_shared<CIKernel>(source);
}

CIImageRef KernelFilter::applyToImage(const CIKernelRef& kernel, const CIImageRef& image,
                                      std::vector<CIKernelArgument> further) {
  const CISampler sampler = CISampler::samplerWithImage(image);
  std::vector<CIKernelArgument> arguments{sampler};
  std::ranges::move(further, std::back_inserter(arguments));
  return apply(kernel, std::move(arguments), {{kCIApplyOptionDefinition, sampler.definition()}});
}

std::vector<std::string> commonKernelFilterCategories() {
  return {kCICategoryCompositeOperation, kCICategoryVideo, kCICategoryStillImage,
          kCICategoryInterlaced, kCICategoryNonSquarePixels};
}

}  // namespace kelvo
