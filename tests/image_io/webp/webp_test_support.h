#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/image_io/tools/codec_calls.h"
#include "tests/image_io/tools/other_tools.h"

// WebP files made and taken apart without the codec.
namespace kelvo::webp_test {

using namespace image_io_test;  // NOLINT(google-build-using-namespace)

struct Chunk {
  std::string type;
  Bytes data;
  friend bool operator==(const Chunk&, const Chunk&) = default;
};

Bytes chunkBytes(const Chunk& chunk);
Bytes riff(const std::vector<Chunk>& chunks);
// All chunks of a file, or of a frame of an animation. Fails the test if a length is wrong.
std::vector<Chunk> chunksOf(const Bytes& file);
std::vector<Chunk> chunksInside(const Bytes& data);
Chunk chunkOf(const Bytes& file, std::string_view type);  // the first one
std::vector<std::string> names(const std::vector<Chunk>& chunks);
// The chunks with empty ones in place of those that hold pixels.
std::vector<Chunk> withoutPixels(std::vector<Chunk> chunks);

Chunk extended(unsigned flags, unsigned width, unsigned height);               // VP8X
Chunk animation(unsigned loops);                                               // ANIM
Chunk animationFrame(unsigned x, unsigned y, unsigned width, unsigned height,  // ANMF
                     const std::vector<Chunk>& content, unsigned milliseconds = 40,
                     unsigned flags = 0);

// A file that cwebp makes of what ImageMagick makes.
Bytes encoded(const std::string& picture, const std::string& options);
// The chunk with the pixels of such a file.
Chunk picture(unsigned width, unsigned height, const std::string& options, unsigned seed = 1);
// What ImageMagick takes for a picture with detail of its own.
std::string plasma(unsigned width, unsigned height, unsigned seed = 1);
// The same with an alpha that goes from side to side.
std::string translucent(unsigned width, unsigned height);
// What dwebp reads: r g b a.
Bytes decodedByDwebp(const Bytes& file);
// What webpinfo says about how the first picture was encoded, by name; a number each.
std::vector<int> encodingOf(const Bytes& file, const std::string& name);

}  // namespace kelvo::webp_test
