#include "tests/image_io/boxes/pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/image_io/tools/other_tools.h"

namespace kelvo::image_io_test {

Bytes smoothSamples(unsigned width, unsigned height, bool alpha) {
  Bytes samples;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width;
      const double v = static_cast<double>(y) / height;
      samples.push_back(static_cast<std::byte>(std::lround(40 + 170 * u)));
      samples.push_back(static_cast<std::byte>(std::lround(60 + 120 * v)));
      samples.push_back(
          static_cast<std::byte>(std::lround(128 + 60 * std::sin(9 * u) * std::cos(7 * v))));
      if (alpha) samples.push_back(static_cast<std::byte>(std::lround(60 + 190 * u)));
    }
  }
  return samples;
}

Bytes pamHead(unsigned width, unsigned height, bool alpha, unsigned maximum) {
  return fromText("P7\nWIDTH " + std::to_string(width) + "\nHEIGHT " + std::to_string(height) +
                  "\nDEPTH " + (alpha ? "4" : "3") + "\nMAXVAL " + std::to_string(maximum) +
                  "\nTUPLTYPE " + (alpha ? "RGB_ALPHA" : "RGB") + "\nENDHDR\n");
}

Bytes complement(Bytes bytes) {
  for (std::byte& b : bytes) b = ~b;
  return bytes;
}

CGImage inverted(const CGImage& image) {
  const CGImage from = rendered(image);
  Bytes bytes = readAllPixels(from).value();
  const std::size_t step = from.layout.components;
  for (std::size_t i = 0; i < bytes.size(); i += step) {
    // Premultiplied: 255 stands for the pixel's alpha.
    const unsigned full = step == 4 ? std::to_integer<unsigned>(bytes[i + 3]) : 255;
    for (std::size_t k = 0; k < 3; ++k) {
      bytes[i + k] = static_cast<std::byte>(full - std::to_integer<unsigned>(bytes[i + k]));
    }
  }
  return CGImageCreateWithPixels(from.width, from.height, from.layout, std::move(bytes),
                                 from.colorSpace);
}

double difference(const Bytes& a, const Bytes& b) {
  EXPECT_EQ(a.size(), b.size());
  EXPECT_FALSE(a.empty());
  double sum = 0;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    const double d = std::to_integer<int>(a[i]) - std::to_integer<int>(b[i]);
    sum += d * d;
  }
  return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(1, a.size())));
}

Bytes samplesThroughPng(const Bytes& file, const std::string& extension, const std::string& command,
                        const std::string& layout, unsigned depth) {
  const TemporaryFolder folder;
  writeFile(folder.path("in." + extension), file);
  run("in='" + folder.path("in." + extension) + "'; out='" + folder.path("out.png") + "'; " +
      command);
  run("convert '" + folder.path("out.png") + "' -depth " + std::to_string(depth) +
      " -endian LSB '" + layout + ":" + folder.path("out.raw") + "'");
  return readFile(folder.path("out.raw"));
}

}  // namespace kelvo::image_io_test
