#pragma once

#include <memory>

#include "platform/image_io/png/png_file.h"

namespace kelvo {

// The file, and which of its pictures they belong to.
class PngProperties final : public FrameProperties {
 public:
  PngProperties(std::shared_ptr<const PngFile> file, std::size_t frame)
      : file_(std::move(file)), frame_(frame) {}

  [[nodiscard]] const MappedFile* origin() const override { return &file_->bytes(); }
  [[nodiscard]] const std::shared_ptr<const PngFile>& file() const { return file_; }
  [[nodiscard]] std::size_t frame() const { return frame_; }

 private:
  std::shared_ptr<const PngFile> file_;
  std::size_t frame_;
};

Result<std::unique_ptr<CodecSource>> openPng(FileBytes file, const Limits& limits);

// Why a file cannot be written back whole; ok if it can.
Result<void> pngWritable(const PngFile& file);

}  // namespace kelvo
