#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "platform/image/ci_filter.h"

namespace kelvo {

// One of the filters that are always registered.
struct BuiltInFilterDescription {
  std::string_view name;
  CIFilterRef (*make)();
};

// All of them; each is defined in the file of its name.
std::span<const BuiltInFilterDescription> builtInFilters();

CIFilterRef makeColorPosterize();
CIFilterRef makeColorInvert();
CIFilterRef makeExposureAdjust();
CIFilterRef makeColorControls();
CIFilterRef makeColorMatrix();
CIFilterRef makeColorMonochrome();
CIFilterRef makeHistogram();
CIFilterRef makeHueAdjust();
CIFilterRef makeSourceOverCompositing();

// The common shape of all but the histogram: a kernel over "inputImage" and a few prepared
// arguments. They unpremultiply, compute on r, g and b, and premultiply again; nothing is clamped
// unless the filter's own rule says so.
class BuiltInFilter : public CIFilter {
 public:
  [[nodiscard]] CIImageRef outputImage() const override;

 protected:
  explicit BuiltInFilter(CIKernelRef kernel);

 private:
  // What the kernel takes after the image.
  [[nodiscard]] virtual std::vector<CIKernelArgument> arguments() const = 0;

  CIKernelRef kernel_;
  CIImageRef inputImage_;
};

// Compiles one of our own kernel sources.
CIKernelRef compileBuiltIn(std::string_view source);

}  // namespace kelvo
