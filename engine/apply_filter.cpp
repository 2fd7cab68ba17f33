#include "engine/apply_filter.h"

namespace kelvo {

CIImageRef applyFilterForCIImage(const CIImageRef& image, const CIFilterRef& filter) {
  if (!filter) return nullptr;
  filter->setValue_forKey(image, "inputImage");
  const FilterValue output = filter->valueForKey("outputImage");
  const auto* result = std::get_if<CIImageRef>(&output);
  return result != nullptr ? *result : nullptr;
}

}  // namespace kelvo
