#include "engine/curves_adjustment.h"

#include "engine/apply_filter.h"

namespace kelvo {

CIImageRef applyCurvesForCIImage(const CIImageRef& image, const CIImageRef& ramp) {
  const CIFilterRef curves = filterWithDefaults("TQCurvesFilter");
  setInput(curves, "rezImage", ramp);
  return applyFilterForCIImage(image, curves);
}

}  // namespace kelvo
