#pragma once

#include <optional>
#include <string_view>

#include "kernels/kernel_filter.h"

namespace kelvo {

extern CIKernelRef tqReplaceColorSelectiveKernel;

// Keeps the pixels whose colour is closer than "diameter" (0…1) to "sourceColor" and makes all
// others transparent. "_hue", "_saturation" and "_lightness" are held and not used.
class TQReplaceColorSelectiveFilter final : public KernelFilter {
 public:
  static void initialize();  // registers the class; once per process
  static CIFilterRef filterWithName(std::string_view name);

  TQReplaceColorSelectiveFilter();

  [[nodiscard]] CIImageRef outputImage() const override;

 private:
  std::optional<NSNumber> _hue;
  std::optional<NSNumber> _saturation;
  std::optional<NSNumber> _lightness;
  std::optional<NSNumber> diameter;
  std::optional<CIColor> sourceColor;
  CIImageRef inputImage;
};

}  // namespace kelvo
