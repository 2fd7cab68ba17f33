#pragma once

#include <optional>
#include <string_view>

#include "kernels/kernel_filter.h"

namespace kelvo {

extern CIKernelRef tqThresholKernel;

// Black where the luma 0.299 r + 0.587 g + 0.114 b lies below "threshold" (0…1), white elsewhere;
// alpha stays.
class TQTresholdFilter final : public KernelFilter {
 public:
  static void initialize();  // registers the class; once per process
  static CIFilterRef filterWithName(std::string_view name);

  TQTresholdFilter();

  [[nodiscard]] CIImageRef outputImage() const override;

 private:
  std::optional<NSNumber> threshold;
  CIImageRef inputImage;
};

}  // namespace kelvo
