#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/image_io/codec.h"
#include "tests/image_io/replace/support.h"

// GIF files made and taken apart without the codec, and short ways through the codec. Bytes are
// strings.
namespace kelvo::gif_test {

std::string hex(std::string_view digits);  // "2c 00 01", spaces do not count

struct Lzw {
  unsigned codeSize = 2;
  bool clearFirst = true;
  bool endCode = true;
  bool clearWhenFull = true;  // else the codes stay as they are once there are 4096
};
// Compressed indices as one run of bytes, without sub-blocks.
std::string compressed(const std::vector<unsigned>& indices, const Lzw& options);
std::string subBlocks(std::string_view data, std::size_t size = 255);
// The size of the first codes and the sub-blocks of the compressed indices.
std::string pictureData(const std::vector<unsigned>& indices, const Lzw& options = {});

// Signature and screen descriptor. `packed` says all that the format packs into that byte.
std::string screen(unsigned width, unsigned height, unsigned packed, unsigned background = 0,
                   unsigned aspect = 0);
std::string descriptor(unsigned x, unsigned y, unsigned width, unsigned height, unsigned packed);
std::string control(unsigned packed, unsigned delay, unsigned transparent);

inline const std::string kTrailer = ";";
// Tables of four colours.
inline const std::string kColors = "\x01\x02\x03\x11\x12\x13\x21\x22\x23\x31\x32\x33";
inline const std::string kOtherColors = "\x41\x42\x43\x51\x52\x53\x61\x62\x63\x71\x72\x73";

// A file taken apart: what each part is, and its bytes. Together they are the file.
struct Part {
  std::string kind;  // "screen", "global table", "extension", "descriptor", "local table", "data",
                     // "trailer", "rest"
  std::string bytes;
  friend bool operator==(const Part&, const Part&) = default;
};
std::vector<Part> partsOf(const std::string& file);
std::vector<Part> partsWithoutTables(const std::string& file);
// Their bytes, one after the other.
std::string tablesOf(const std::string& file);

std::unique_ptr<CodecSource> openSource(const std::string& file, const Limits& limits = {});
// Bytes of a frame's pixels in its layout.
Result<std::string> tryPixels(const std::string& file, std::size_t frame = 0);
std::string pixels(const std::string& file, std::size_t frame = 0);

// Rewrites the file around what `adjust` makes of each frame.
using Adjust = std::function<CGImage(const CGImage& image, std::size_t frame)>;
Result<std::string> tryRewrite(const std::string& file, const Adjust& adjust);
std::string rewrite(const std::string& file, const Adjust& adjust);

CGImage unchanged(const CGImage& image, std::size_t frame);
// The opposite colours. Transparent entries become black, as they do in a rendered table.
CGImage negated(const CGImage& image, std::size_t frame);
// The same with `offset` per frame added to each level, so that every frame differs.
CGImage shifted(const CGImage& image, std::size_t frame);

// RGBA pixels of all frames, each drawn over those before it, as ImageMagick sees them. Transparent
// ones are black.
std::string coalescedByOtherTool(const std::string& file, std::string_view operation = "");
// An animation of noisy frames made by ImageMagick with these options (the last word is a format).
std::string animation(const std::string& options, const std::string& size = "40x30");

}  // namespace kelvo::gif_test
