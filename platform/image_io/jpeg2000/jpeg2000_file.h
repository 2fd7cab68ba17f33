#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/heif/boxes.h"
#include "platform/image_io/jpeg2000/codestream.h"

namespace kelvo::jpeg2000 {

using heif::Box;
using heif::fourCC;
using heif::FourCC;

constexpr FourCC kHeader = fourCC("jp2h");
constexpr FourCC kImageHeader = fourCC("ihdr");
constexpr FourCC kDepths = fourCC("bpcc");
constexpr FourCC kPalette = fourCC("pclr");
constexpr FourCC kData = fourCC("jp2c");

// Which component, or column of the colour table, is what.
struct Channels {
  std::array<std::size_t, 3> colors = {0, 1, 2};
  std::optional<std::size_t> alpha;
  bool premultiplied = false;
};

struct ColorTable {
  std::size_t entries = 0;
  std::size_t columns = 0;
  std::size_t offset = 0;  // of the first entry in the box's payload; columns bytes each
};

// The boxes around a codestream (ISO/IEC 15444-1, annex I), and what they tell.
struct Boxes {
  std::vector<Box> outer;   // empty: the file is a bare codestream
  std::vector<Box> header;  // inside 'jp2h'
  Bytes codestream;
  ColorModel model = ColorModel::rgb;
  std::vector<std::byte> profile;
  Channels channels;
  std::optional<ColorTable> table;
  SourceStatus status;
  std::string obstacle;
};

Result<Boxes> readBoxStructure(Bytes file);
// Reads what the boxes tell about colours; needs to know the components.
void readColors(Boxes& boxes, const Codestream& codestream);

// An opened file, shared by everything made from it.
struct Jpeg2000File {
  FileBytes bytes;
  Boxes boxes;
  Codestream codestream;
  std::shared_ptr<const Palette> palette;  // of a file with a colour table
  Limits limits;

  [[nodiscard]] unsigned depth() const { return codestream.components[0].bits; }
};
using Jpeg2000FileRef = std::shared_ptr<const Jpeg2000File>;

class Jpeg2000Properties final : public FrameProperties {
 public:
  explicit Jpeg2000Properties(Jpeg2000FileRef file) : file_(std::move(file)) {}

  [[nodiscard]] const MappedFile* origin() const override { return file_->bytes.get(); }
  [[nodiscard]] const Jpeg2000FileRef& file() const { return file_; }

 private:
  Jpeg2000FileRef file_;
};

Result<std::unique_ptr<CodecSource>> openJpeg2000(FileBytes file, const Limits& limits);
Result<std::unique_ptr<CodecWriter>> createJpeg2000Writer(OutputFile& file, std::size_t frames,
                                                          const EncodeOptions& options);

PixelLayout layoutOf(const Jpeg2000File& file);

// What stands in the way of writing the file back whole.
Result<void> checkWritable(const Jpeg2000File& file);

enum class Use : std::uint8_t { decode, rewrite };
// Whether what the library makes of the headers, and the tiles of one row, fit into the memory that
// is allowed.
Result<void> checkMemory(const Jpeg2000File& file, Use use);

}  // namespace kelvo::jpeg2000
