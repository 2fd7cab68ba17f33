#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/limits.h"
#include "platform/pixels/cg_image.h"

// What a file format must provide. One folder a format; one table (codecs()) lists them.
namespace kelvo {

class MappedFile;
class OutputFile;

// The bytes of an opened file. Valid as long as any object made from them lives.
using FileBytes = std::shared_ptr<const MappedFile>;

// kCGImageStatusComplete is 0.
enum class CGImageSourceStatus : int {
  complete = 0,
  incomplete = -1,   // ends early
  invalidData = -5,  // its structure is damaged
};

struct SourceStatus {
  CGImageSourceStatus status = CGImageSourceStatus::complete;
  std::string cause;  // why not complete; empty otherwise
};

// Everything in a file that goes with one frame (and, for frame 0, with the file) besides the
// pixels. Made by a codec's source, understood by the same codec's writer only.
class FrameProperties {
 public:
  virtual ~FrameProperties() = default;

  // The file they came from, so that a destination can tell that it is still the file it replaces.
  // Null if that is not known.
  [[nodiscard]] virtual const MappedFile* origin() const { return nullptr; }
};
using FramePropertiesRef = std::shared_ptr<const FrameProperties>;

struct FrameInfo {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bitsPerComponent = 8;  // as stored
};

struct EncodeOptions {
  // Set when frames deeper than 8 bits are to keep their depth. The rendered image's layout says
  // what arrives.
  bool keepDepth = false;
  // Set when a gain map, which would not fit the adjusted picture, is to be left out. Otherwise a
  // file with one cannot be written.
  bool dropGainMap = false;
  // How many processors the writer may keep busy, the calling thread's own included.
  unsigned threads = 1;
};

// An opened file of one format. Only cheap structure is read when it is opened.
class CodecSource {
 public:
  virtual ~CodecSource() = default;

  [[nodiscard]] virtual std::size_t count() const = 0;
  [[nodiscard]] virtual FrameInfo info(std::size_t frame) const = 0;
  // How the frame is to be turned and mirrored to be looked at, as an EXIF value: 1 to 8, 1 being
  // as it is stored. Rows are always as they are stored.
  [[nodiscard]] virtual unsigned orientation(std::size_t /*frame*/) const { return 1; }
  // Walks the file's own structure to its end, decoding no pixels.
  [[nodiscard]] virtual SourceStatus status() const = 0;
  // Lazy: pixels are decoded as rows are read, in strips. Every decoder error and every warning
  // about lost data ends the pass with an error.
  [[nodiscard]] virtual Result<CGImage> image(std::size_t frame) const = 0;
  [[nodiscard]] virtual Result<FramePropertiesRef> properties(std::size_t frame) const = 0;
  // What stands in the way of writing this file back whole ("an animated PNG is not supported
  // yet") with these options; ok if nothing does.
  [[nodiscard]] virtual Result<void> writable(const EncodeOptions&) const { return {}; }
  [[nodiscard]] Result<void> writable() const { return writable(EncodeOptions{}); }
};

// Writes a new file of one format, front to back.
class CodecWriter {
 public:
  virtual ~CodecWriter() = default;

  // Pulls the rows and encodes them strip by strip. `image` is what the renderer made of frame n of
  // the source the properties came from: same size; 3 components without alpha, or 4 with
  // premultipliedLast; u8 or u16; or with a palette of the source's indices. The colour space's
  // profile is to be written as it is. An error of the image's own rows is passed on unchanged.
  virtual Result<void> addImage(const CGImage& image, const FrameProperties& properties) = 0;

  // After the last image: everything that follows the pixels.
  virtual Result<void> finish() = 0;
};

struct Codec {
  std::string_view type;                             // "public.jpeg"
  std::string_view displayName;                      // "JPEG"
  bool (*matches)(std::span<const std::byte> head);  // at least 64 bytes or the whole file
  Result<std::unique_ptr<CodecSource>> (*open)(FileBytes file, const Limits& limits);
  // Null for formats that are recognised but never written.
  Result<std::unique_ptr<CodecWriter>> (*createWriter)(OutputFile& file, std::size_t frames,
                                                       const EncodeOptions& options);
};

// The formats known, in the order in which they are tried.
std::span<const Codec> codecs();

// Each format's entry, defined in its folder.
extern const Codec kBmpCodec;
extern const Codec kGifCodec;
extern const Codec kJpegCodec;
extern const Codec kPngCodec;
extern const Codec kTiffCodec;
extern const Codec kWebpCodec;
extern const Codec kHeicCodec;
extern const Codec kAvifCodec;
extern const Codec kJxlCodec;
extern const Codec kJpeg2000Codec;
extern const Codec kPhotoshopCodec;

}  // namespace kelvo
