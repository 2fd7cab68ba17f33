#include "engine/levels.h"

#include "engine/apply_filter.h"

namespace kelvo {
namespace {

float single(double value) { return static_cast<float>(value); }

}  // namespace

CIImageRef applyLevelsForCIImage(const CIImageRef& image, double b255, double m255, double w255) {
  const double b = b255 / 255.0;
  const double w = w255 / 255.0;
  const double m = single(m255 / 255.0);
  const double d = 0.5 * (m + b);
  const double l = 0.5 * (w + m);
  const double ds = single(d);
  const double ls = single(l);

  const CIFilterRef levels = filterWithDefaults("TQLevelsFilter");
  setInput(levels, "linear", CIVector::vectorWithX_Y(-single(b / (w - b)), single(1.0 / (w - b))));
  setInput(levels, "midtone",
           CIVector::vectorWithX_Y_Z_W(m, single(1.0 / (m - b)), single(-1.0 / (w - m)),
                                       single((w + b) * 0.5 - m)));
  // The weights of these two are what is lost in rounding their centres: next to nothing. Saved
  // workflows look as they do because of that.
  setInput(levels, "dark",
           CIVector::vectorWithX_Y_Z_W(ds, single(1.0 / (ds - b)), single(-1.0 / (w - ds)),
                                       single(d - ds)));
  setInput(levels, "light",
           CIVector::vectorWithX_Y_Z_W(ls, single(1.0 / (ls - b)), single(-1.0 / (w - ls)),
                                       single(l - ls)));
  return applyFilterForCIImage(image, levels);
}

}  // namespace kelvo
