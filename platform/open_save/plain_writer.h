#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "platform/image_io/codec.h"
#include "platform/open_save/carried_metadata.h"

// Writers that make a new file of one picture out of pixels, colour profile and EXIF alone. Those
// of the formats themselves write a file again that is there already.
namespace kelvo {

class PlainWriter : public CodecWriter {
 public:
  // `properties` is CarriedMetadata. The picture is gray or RGB, of 8 or 16 bits a sample, with any
  // alpha.
  Result<void> addImage(const CGImage& image, const FrameProperties& properties) final {
    return write(image, static_cast<const CarriedMetadata&>(properties));
  }
  Result<void> finish() final { return {}; }

 private:
  // Writes the whole file, pulling the rows strip by strip. Errors: what the format cannot hold.
  virtual Result<void> write(const CGImage& image, const CarriedMetadata& metadata) = 0;
};

// The formats that have such a writer, with it in place of their own. They are read as ever.
std::span<const Codec> plainFormats();

std::unique_ptr<CodecWriter> makePlainBmpWriter(OutputFile& file);
std::unique_ptr<CodecWriter> makePlainJpegWriter(OutputFile& file);
std::unique_ptr<CodecWriter> makePlainPngWriter(OutputFile& file);
std::unique_ptr<CodecWriter> makePlainTiffWriter(OutputFile& file);
std::unique_ptr<CodecWriter> makePlainWebpWriter(OutputFile& file);

}  // namespace kelvo
