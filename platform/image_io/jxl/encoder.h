#pragma once

#include <vector>

#include "platform/image_io/jxl/jxl_file.h"
#include "platform/image_io/jxl/library.h"
#include "platform/pixels/cg_image.h"

namespace kelvo::jxl {

// Makes a codestream like that of a file, of other pixels. One frame after the other; the caller
// hands over as many as the file has.
class CodestreamEncoder {
 public:
  CodestreamEncoder(JxlFileRef file, const EncodeOptions& options);

  Result<void> add(const CGImage& image);

  // After the last frame. Checked to tell about itself what the old one told.
  Result<std::vector<std::byte>> finish();

 private:
  Result<void> begin();
  Result<void> beginColors();
  Result<void> describe(JxlEncoderFrameSettings* settings, const Frame& frame) const;
  Result<void> drain();

  JxlFileRef file_;
  bool keepDepth_;
  Runner runner_;  // outlives the encoder
  Encoder encoder_;
  std::size_t next_ = 0;
  std::vector<std::byte> output_;
};

}  // namespace kelvo::jxl
