#pragma once

#include <string>
#include <vector>

#include "platform/image_io/cg_image_destination.h"
#include "platform/image_io/cg_image_source.h"

namespace kelvo::test {

enum class Adjustment { none, invert };

// What the action does with a file: read, adjust, write, replace. An error is the first there was.
Result<void> rewrite(const std::string& path, Adjustment adjustment,
                     const ReplaceOptions& options = {});

// Writes a smooth colourful picture as a PPM.
void writeGradient(const std::string& path, std::uint32_t width, std::uint32_t height);

// The largest difference between the samples of two JPEG files, decoded by djpeg.
int largestDifference(const std::string& a, const std::string& b);

struct RawSegment {
  std::uint8_t marker = 0;
  std::string payload;
  friend bool operator==(const RawSegment&, const RawSegment&) = default;
};
// Every APPn and COM segment before the first scan.
std::vector<RawSegment> rawSegments(const std::string& file);

// The file's bytes with a segment put right after the start-of-image marker.
std::string withSegment(const std::string& file, std::uint8_t marker, const std::string& payload);

}  // namespace kelvo::test
