#pragma once

#include <memory>

#include "platform/image_io/png/png_file.h"

namespace kelvo {

// The whole file stands for what goes with its one frame.
class PngProperties final : public FrameProperties {
 public:
  explicit PngProperties(std::shared_ptr<const PngFile> file) : file_(std::move(file)) {}

  [[nodiscard]] const MappedFile* origin() const override { return &file_->bytes(); }
  [[nodiscard]] const std::shared_ptr<const PngFile>& file() const { return file_; }

 private:
  std::shared_ptr<const PngFile> file_;
};

Result<std::unique_ptr<CodecSource>> openPng(FileBytes file, const Limits& limits);

// Why a file cannot be written back whole; ok if it can.
Result<void> pngWritable(const PngFile& file);

}  // namespace kelvo
