#pragma once

#include <memory>
#include <utility>

#include "platform/image_io/webp/webp_file.h"

namespace kelvo {

// The whole file stands for what goes with each of its frames.
class WebpProperties final : public FrameProperties {
 public:
  WebpProperties(std::shared_ptr<const WebpFile> file, std::size_t frame)
      : file_(std::move(file)), frame_(frame) {}

  [[nodiscard]] const MappedFile* origin() const override { return &file_->bytes(); }
  [[nodiscard]] const std::shared_ptr<const WebpFile>& file() const { return file_; }
  [[nodiscard]] std::size_t frame() const { return frame_; }

 private:
  std::shared_ptr<const WebpFile> file_;
  std::size_t frame_;
};

Result<std::unique_ptr<CodecSource>> openWebp(FileBytes file, const Limits& limits);

// Why a file cannot be written back whole; ok if it can.
Result<void> webpWritable(const WebpFile& file);

}  // namespace kelvo
