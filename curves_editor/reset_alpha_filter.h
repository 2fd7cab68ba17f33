#pragma once

#include <string_view>

#include "platform/image/ci_filter.h"

namespace kelvo {

// "TQResetAlphaFilter": sets every pixel's alpha to 1 and leaves the other three numbers as they
// are, whatever they were multiplied by. For rows of numbers that are to be read as if they were
// opaque colours.
class TQResetAlphaFilter final : public CIFilter {
 public:
  static void initialize();  // registers the class; once per process
  static CIFilterRef filterWithName(std::string_view name);

  TQResetAlphaFilter();

  [[nodiscard]] CIImageRef outputImage() const override;

 private:
  CIImageRef inputImage;
};

}  // namespace kelvo
