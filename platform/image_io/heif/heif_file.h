#pragma once

#include <memory>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/heif/decoder.h"
#include "platform/image_io/heif/pictures.h"
#include "platform/image_io/heif/structure.h"

namespace kelvo::heif {

// An opened file, shared by everything made from it.
struct HeifFile {
  FileBytes bytes;
  Structure structure;
  Pictures pictures;
  Limits limits;
};
using HeifFileRef = std::shared_ptr<const HeifFile>;

class HeifProperties final : public FrameProperties {
 public:
  HeifProperties(HeifFileRef file, std::size_t frame) : file_(std::move(file)), frame_(frame) {}

  [[nodiscard]] const MappedFile* origin() const override { return file_->bytes.get(); }
  [[nodiscard]] const HeifFileRef& file() const { return file_; }
  [[nodiscard]] std::size_t frame() const { return frame_; }

 private:
  HeifFileRef file_;
  std::size_t frame_;
};

Result<std::unique_ptr<CodecSource>> openHeif(FileBytes file, const Limits& limits);
Result<std::unique_ptr<CodecWriter>> createHeifWriter(OutputFile& file, std::size_t frames,
                                                      const EncodeOptions& options);

// What stands in the way of writing the file back whole.
Result<void> checkWritable(const HeifFile& file);

}  // namespace kelvo::heif
