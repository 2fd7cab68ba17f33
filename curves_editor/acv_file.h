#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/foundation/result.h"

namespace kelvo {

// One point of a curve file, in levels 0…255.
struct AcvPoint {
  std::uint8_t input = 0;
  std::uint8_t output = 0;

  friend bool operator==(const AcvPoint&, const AcvPoint&) = default;
};

// The curves of an .acv file: the composite curve, then one for each channel (red, green, blue, and
// perhaps more). Each has 2 to 19 points in ascending input. Big-endian 16-bit numbers: a version
// (1 or 4), the number of curves, and for each curve the number of its points and these as pairs of
// output and input. What follows the last curve is not looked at.
//
// Errors: another version, no curves, more than 64 of them, too few or too many points, levels
// above 255, inputs that do not ascend, a file that ends early.
Result<std::vector<std::vector<AcvPoint>>> parseAcv(std::span<const std::byte> bytes);

}  // namespace kelvo
