#pragma once

#include <optional>
#include <string_view>

#include "kernels/kernel_filter.h"

namespace kelvo {

extern CIKernelRef tqEqualizeKernel;

// Luminance Y = 0.2125 r + 0.7154 g + 0.0721 b becomes Y gain + offset ("params": gain, offset);
// the colour is scaled by the same ratio and limited to 0…1 in each channel; alpha stays.
class TQEqualizeFilter final : public KernelFilter {
 public:
  static void initialize();  // registers the class; once per process
  static CIFilterRef filterWithName(std::string_view name);

  TQEqualizeFilter();

  [[nodiscard]] CIImageRef outputImage() const override;

 private:
  std::optional<CIVector> params;
  CIImageRef inputImage;
};

}  // namespace kelvo
