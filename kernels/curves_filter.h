#pragma once

#include <string_view>

#include "kernels/kernel_filter.h"

namespace kelvo {

extern CIKernelRef tqCurvesFilterKernel;

// Maps each channel through the ramp "rezImage": 256 x 1, its column i holding in red, green and
// blue the outputs for the input level i / 255; between columns linearly interpolated. Colour and
// alpha are limited to 0…1 first.
class TQCurvesFilter final : public KernelFilter {
 public:
  static void initialize();  // registers the class; once per process
  static CIFilterRef filterWithName(std::string_view name);

  TQCurvesFilter();

  [[nodiscard]] CIImageRef outputImage() const override;

  // Which part of an input is needed for `destination`: of the image (0) that very part, of the
  // ramp always its whole strip.
  static CGRect regionOf_destRect(int sampler, const CGRect& destination);

 private:
  CIImageRef inputImage;
  CIImageRef rezImage;
};

}  // namespace kelvo
