#include "kernels/kernel_filter.h"

namespace kelvo {

void compileKernelOnce(CIKernelRef& kernel, std::string_view source) {
  if (kernel) return;
  const std::vector<CIKernelRef> kernels = CIKernel::kernelsWithString(source);
  if (!kernels.empty()) kernel = kernels.front();
}

FilterAttributes kernelFilterAttributes(std::string displayName,
                                        std::vector<std::string> categories) {
  return {{kCIAttributeFilterDisplayName, std::move(displayName)},
          {kCIAttributeFilterCategories, std::move(categories)}};
}

std::vector<std::string> commonKernelFilterCategories() {
  return {kCICategoryCompositeOperation, kCICategoryVideo, kCICategoryStillImage,
          kCICategoryInterlaced, kCICategoryNonSquarePixels};
}

}  // namespace kelvo
