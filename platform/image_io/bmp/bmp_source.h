#pragma once

#include <memory>
#include <utility>

#include "platform/image_io/bmp/bmp_file.h"

namespace kelvo {

// The whole file stands for what goes with its one frame.
class BmpProperties final : public FrameProperties {
 public:
  explicit BmpProperties(std::shared_ptr<const BmpFile> file) : file_(std::move(file)) {}

  [[nodiscard]] const MappedFile* origin() const override { return &file_->origin(); }
  [[nodiscard]] const std::shared_ptr<const BmpFile>& file() const { return file_; }

 private:
  std::shared_ptr<const BmpFile> file_;
};

Result<std::unique_ptr<CodecSource>> openBmp(FileBytes file, const Limits& limits);

}  // namespace kelvo
