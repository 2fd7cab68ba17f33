#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "platform/image_io/gif/gif_file.h"

namespace kelvo {

// The file, and which of its frames they belong to.
class GifProperties final : public FrameProperties {
 public:
  GifProperties(std::shared_ptr<const GifFile> file, std::size_t frame)
      : file_(std::move(file)), frame_(frame) {}

  [[nodiscard]] const MappedFile* origin() const override { return &file_->bytes(); }
  [[nodiscard]] const std::shared_ptr<const GifFile>& file() const { return file_; }
  [[nodiscard]] std::size_t frame() const { return frame_; }

 private:
  std::shared_ptr<const GifFile> file_;
  std::size_t frame_;
};

Result<std::unique_ptr<CodecSource>> openGif(FileBytes file, const Limits& limits);

}  // namespace kelvo
