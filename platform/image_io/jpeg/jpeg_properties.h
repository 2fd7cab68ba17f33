#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/jpeg/jpeg_decoder.h"
#include "platform/image_io/jpeg/jpeg_structure.h"

namespace kelvo::jpeg {

// Everything of a file besides its pixels.
class Properties final : public FrameProperties {
 public:
  Properties(FileBytes file, std::shared_ptr<const Structure> structure, Coding coding,
             CGColorSpaceRef colorSpace);

  [[nodiscard]] const MappedFile* origin() const override { return file_.get(); }

  [[nodiscard]] const FileBytes& file() const { return file_; }
  [[nodiscard]] const Structure& structure() const { return *structure_; }
  [[nodiscard]] Coding coding() const { return coding_; }
  [[nodiscard]] const CGColorSpace& colorSpace() const { return *colorSpace_; }
  // What follows the end-of-image marker.
  [[nodiscard]] std::span<const std::byte> trailer() const;

 private:
  FileBytes file_;
  std::shared_ptr<const Structure> structure_;
  Coding coding_;
  CGColorSpaceRef colorSpace_;
};

}  // namespace kelvo::jpeg
