#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/image_io/codec.h"
#include "tests/image_io/tools/other_tools.h"

// PNG files made and taken apart without the codec, and short ways through the codec.
namespace kelvo::png_test {

using image_io_test::Bytes;
using image_io_test::concat;
using image_io_test::fromHex;
using image_io_test::fromText;
using image_io_test::readFile;
using image_io_test::run;
using image_io_test::TemporaryFolder;
using image_io_test::writeFile;

Bytes fromNumbers(const std::vector<unsigned>& numbers);  // each a byte

struct Chunk {
  std::string type;
  Bytes data;
  friend bool operator==(const Chunk&, const Chunk&) = default;
};

Bytes chunkBytes(const Chunk& chunk);  // length, type, data, checksum
Bytes header(unsigned width, unsigned height, unsigned depth, unsigned color, bool interlaced);
// The zlib stream of rows that begin with their filter numbers.
Bytes compressed(const Bytes& rows);
// Signature, chunks, IEND.
Bytes file(const std::vector<Chunk>& chunks);
// A file with this header and, between the header and the data, these chunks. `rows` are the stored
// rows without filter numbers.
Bytes simpleFile(unsigned width, unsigned height, unsigned depth, unsigned color,
                 const std::vector<Bytes>& rows, const std::vector<Chunk>& between = {},
                 const std::vector<Chunk>& after = {});

// All chunks of a file, to IEND. Fails the test if a checksum or a length is wrong.
std::vector<Chunk> chunksOf(const Bytes& file);
std::vector<Chunk> chunksWithoutData(const Bytes& file);  // no IDAT
Bytes dataOf(const Bytes& file, std::string_view type);   // all chunks of the type together

std::unique_ptr<CodecSource> openSource(const Bytes& file, const Limits& limits = {});
Result<Bytes> tryPixels(const Bytes& file, const Limits& limits = {});
Bytes pixels(const Bytes& file);
std::vector<unsigned> samples8(const Bytes& file);
std::vector<unsigned> samples16(const Bytes& file);

// Rewrites the file around the image that `adjust` makes of the file's own.
using Adjust = CGImage (*)(const CGImage& image);
CGImage unchanged(const CGImage& image);
// What the renderer does with alpha: rgb as it is, rgba premultiplied, 8 bits.
CGImage rendered(const CGImage& image);
// The same at the image's own depth.
CGImage renderedDeep(const CGImage& image);
Result<Bytes> tryRewrite(const Bytes& file, const CGImage& image, const EncodeOptions& options = {},
                         const Limits& limits = {});
Bytes rewrite(const Bytes& file, Adjust adjust = rendered, const EncodeOptions& options = {});

// The file's samples as ImageMagick reads them, "RGB" or "RGBA", of 8 or 16 bits.
Bytes pixelsByOtherTool(const Bytes& file, std::string_view layout, unsigned depth);
// True if pngcheck finds no fault.
bool acceptedByPngcheck(const Bytes& file);

}  // namespace kelvo::png_test
