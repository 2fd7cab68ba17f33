#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/jpeg/jpeg_decoder.h"
#include "platform/image_io/jpeg/jpeg_structure.h"
#include "platform/image_io/jpeg/multi_picture.h"

namespace kelvo::jpeg {

// One picture of a file, found and read as far as opening needs it.
struct Picture {
  std::span<const std::byte> bytes;  // from its start up to the next picture or the end of the file
  // What stands behind gain maps that follow it, up to the next picture or the end of the file.
  std::vector<std::span<const std::byte>> laterBytes;
  Structure header;
  Coding coding = Coding::ycc;
};

// Everything of a picture besides its pixels.
class Properties final : public FrameProperties {
 public:
  // `pictures`: the index of the file, if it holds several; `number`: which one this is.
  Properties(FileBytes file, std::shared_ptr<const Structure> structure, const Picture& picture,
             CGColorSpaceRef colorSpace, MultiPicture pictures, std::size_t number);

  [[nodiscard]] const MappedFile* origin() const override { return file_.get(); }

  [[nodiscard]] const FileBytes& file() const { return file_; }
  [[nodiscard]] const Structure& structure() const { return *structure_; }
  [[nodiscard]] Coding coding() const { return coding_; }
  [[nodiscard]] const CGColorSpace& colorSpace() const { return *colorSpace_; }
  [[nodiscard]] const MultiPicture& pictures() const { return pictures_; }
  [[nodiscard]] std::size_t number() const { return number_; }
  // What follows the end-of-image marker, up to the next picture or the end of the file, in the
  // pieces that gain maps leave of it.
  [[nodiscard]] const std::vector<std::span<const std::byte>>& trailer() const { return trailer_; }
  // Whether the picture or its file has one, or says so.
  [[nodiscard]] bool hasGainMap() const { return hasGainMap_; }

 private:
  FileBytes file_;
  std::vector<std::span<const std::byte>> trailer_;
  bool hasGainMap_ = false;
  std::shared_ptr<const Structure> structure_;
  Coding coding_;
  CGColorSpaceRef colorSpace_;
  MultiPicture pictures_;
  std::size_t number_;
};

}  // namespace kelvo::jpeg
