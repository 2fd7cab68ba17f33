#include "engine/apply_filter.h"

#include "platform/foundation/text_format.h"

namespace kelvo {

CIFilterRef filterWithDefaults(std::string_view name) {
  CIFilterRef filter = CIFilter::filterWithName(name);
  if (filter) filter->setDefaults();
  return filter;
}

void setInput(const CIFilterRef& filter, std::string_view key, const FilterValue& value) {
  if (filter) filter->setValue_forKey(value, key);
}

void setTextInput(const CIFilterRef& filter, std::string_view key, double value) {
  setInput(filter, key, formatF(value));
}

CIImageRef applyFilterForCIImage(const CIImageRef& image, const CIFilterRef& filter) {
  if (!filter) return nullptr;
  filter->setValue_forKey(image, "inputImage");
  const FilterValue output = filter->valueForKey("outputImage");
  const auto* result = std::get_if<CIImageRef>(&output);
  return result != nullptr ? *result : nullptr;
}

}  // namespace kelvo
