#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/image_io/tools/codec_calls.h"
#include "tests/image_io/tools/other_tools.h"

// BMP files put together by hand.
namespace kelvo::bmp_test {

using namespace image_io_test;  // NOLINT(google-build-using-namespace)

struct Build {
  unsigned headerSize = 40;
  std::int32_t width = 1;
  std::int32_t height = 1;
  unsigned bits = 24;
  unsigned compression = 0;
  unsigned planes = 1;
  std::vector<unsigned> masks = {};  // inside the header if it has room for them, else after it
  unsigned colorsUsed = 0;
  std::optional<unsigned> imageBytes = {};  // told in the header; those of `pixels` if not given
  Bytes table = {};
  Bytes gap = {};  // between the table and the pixels
  Bytes pixels = {};
  Bytes trailer = {};
  Bytes profile = {};                      // after the pixels; needs a header of 124 bytes
  std::optional<unsigned> fileBytes = {};  // told in the header; the right ones if not given
  std::optional<unsigned> pixelsAt = {};
};

Bytes build(const Build& from);

// 16-bit pixels, rows of whole 4 bytes left to the caller.
Bytes words(const std::vector<unsigned>& values);
Bytes dwords(const std::vector<unsigned>& values);
// A picture of ImageMagick's, as a BMP file with these options.
Bytes convertedTo(const std::string& picture, const std::string& options);

std::vector<unsigned> samples(const Bytes& file);    // 8 bits each
std::vector<unsigned> samples16(const Bytes& file);  // 16 bits each

// Files of every kind, small, with what may stand between and after their parts.
struct Named {
  std::string name;
  Bytes file;
  // ImageMagick does not know 2 bits, masks of alpha after the header, nor short headers of OS/2;
  // it takes entries of OS/2 2.x for 3 bytes, and scales 4 bits by 16.
  bool otherToolsCanRead = true;
};
std::vector<Named> everyKind();

}  // namespace kelvo::bmp_test
