#pragma once

#include <optional>
#include <string_view>

#include "kernels/kernel_filter.h"

namespace kelvo {

extern CIKernelRef tqLevelsKernel;

// A linear stretch, offset + gain c ("linear": offset, gain), plus three smooth bumps. A bump
// ("midtone", "dark", "light") has its centre in x, the slope that maps the interval below the
// centre onto -1…0 in y, the negative slope for the interval above it in z, and its weight in w.
// Nothing is limited; alpha stays.
class TQLevelsFilter final : public KernelFilter {
 public:
  static void initialize();  // registers the class; once per process
  static CIFilterRef filterWithName(std::string_view name);

  TQLevelsFilter();

  [[nodiscard]] CIImageRef outputImage() const override;

 private:
  CIImageRef inputImage;
  std::optional<CIVector> linear;
  std::optional<CIVector> midtone;
  std::optional<CIVector> dark;
  std::optional<CIVector> light;
};

}  // namespace kelvo
