#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo {

// What is carried from a file of one format into one of another besides the pixels and their colour
// profile.
class CarriedMetadata final : public FrameProperties {
 public:
  explicit CarriedMetadata(std::vector<std::byte> exif) : exif_(std::move(exif)) {}

  // A block with the structure of a TIFF file, without any prefix. Empty if there is none.
  [[nodiscard]] const std::vector<std::byte>& exif() const { return exif_; }

 private:
  std::vector<std::byte> exif_;
};

// Of a whole file of the given format with the one picture `image`. JPEG, PNG and WebP hold the
// block itself; that of a TIFF file is made of its directories. Errors: the format is not
// converted, or the picture needs more to look right than another format can hold.
Result<CarriedMetadata> readCarriedMetadata(const Codec& format, const FileBytes& file,
                                            const CGImage& image);

}  // namespace kelvo
