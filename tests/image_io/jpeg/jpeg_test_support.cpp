#include "tests/image_io/jpeg/jpeg_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "tests/image_io/replace/support.h"

namespace kelvo::test {

Result<void> rewrite(const std::string& path, Adjustment adjustment,
                     const ReplaceOptions& options) {
  const NSURL url = NSURL::fileURLWithPath(path);
  const auto source = CGImageSourceCreateWithURL(url, options.limits);
  if (!source) return source.error();
  const SourceStatus status = CGImageSourceGetStatus(**source);
  if (status.status != CGImageSourceStatus::complete) return Error{"status: " + status.cause};
  const auto destination = CGImageDestinationCreateWithURL(
      url, CGImageSourceGetType(**source), CGImageSourceGetCount(**source), options);
  if (!destination) return destination.error();
  for (std::size_t frame = 0; frame < CGImageSourceGetCount(**source); ++frame) {
    const auto image = CGImageSourceCreateImageAtIndex(**source, frame);
    if (!image) return image.error();
    // As in the action, the properties are gone before the file is finalized.
    const auto properties = CGImageSourceCopyPropertiesAtIndex(**source, frame);
    if (!properties) return properties.error();
    const CGImage adjusted = adjustment == Adjustment::invert ? inverted(*image) : *image;
    auto added = CGImageDestinationAddImage(**destination, adjusted, **properties);
    if (!added) return added;
  }
  return CGImageDestinationFinalize(**destination);
}

void writeGradient(const std::string& path, std::uint32_t width, std::uint32_t height) {
  std::string ppm = "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width;
      const double v = static_cast<double>(y) / height;
      ppm += static_cast<char>(std::lround(40 + 170 * u));
      ppm += static_cast<char>(std::lround(60 + 120 * v));
      ppm += static_cast<char>(std::lround(128 + 60 * std::sin(6 * u) * std::cos(5 * v)));
    }
  }
  writeFile(path, ppm);
}

int largestDifference(const std::string& a, const std::string& b) {
  const TemporaryDirectory directory;
  run("djpeg -dct int -ppm -outfile " + directory.path("a") + " " + a);
  run("djpeg -dct int -ppm -outfile " + directory.path("b") + " " + b);
  const Ppm first = readPpm(directory.path("a"));
  const Ppm second = readPpm(directory.path("b"));
  EXPECT_EQ(first.width, second.width);
  EXPECT_EQ(first.height, second.height);
  int largest = first.samples.size() == second.samples.size() ? 0 : 255;
  for (std::size_t i = 0; i < std::min(first.samples.size(), second.samples.size()); ++i) {
    largest = std::max(largest, std::abs(first.samples[i] - second.samples[i]));
  }
  return largest;
}

std::vector<RawSegment> rawSegments(const std::string& file) {
  std::vector<RawSegment> segments;
  for (std::size_t at = 2; at + 4 <= file.size();) {
    const auto marker = static_cast<std::uint8_t>(file[at + 1]);
    if (marker == 0xDA) break;
    const std::size_t length = static_cast<std::size_t>(static_cast<std::uint8_t>(file[at + 2]))
                                   << 8 |
                               static_cast<std::uint8_t>(file[at + 3]);
    if ((marker >= 0xE0 && marker <= 0xEF) || marker == 0xFE) {
      segments.push_back({marker, file.substr(at + 4, length - 2)});
    }
    at += 2 + length;
  }
  return segments;
}

std::string withSegment(const std::string& file, std::uint8_t marker, const std::string& payload) {
  const std::size_t length = payload.size() + 2;
  return file.substr(0, 2) + '\xFF' + static_cast<char>(marker) + static_cast<char>(length >> 8) +
         static_cast<char>(length & 0xFF) + payload + file.substr(2);
}

}  // namespace kelvo::test
