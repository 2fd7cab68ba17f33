#pragma once

#include <memory>
#include <mutex>
#include <span>

#include "platform/image_io/bmp/bmp_header.h"
#include "platform/image_io/codec.h"

namespace kelvo {

// An opened file and where its parts are.
class BmpFile {
 public:
  static Result<std::shared_ptr<const BmpFile>> open(FileBytes file, const Limits& limits);

  [[nodiscard]] const MappedFile& origin() const { return *file_; }
  [[nodiscard]] std::span<const std::byte> bytes() const;
  [[nodiscard]] const BmpHeader& header() const { return header_; }
  [[nodiscard]] const Limits& limits() const { return limits_; }

  // Whether everything that the header tells of lies in the file, and whether runs are whole.
  [[nodiscard]] SourceStatus status() const;

  // Of a file whose status is complete:
  [[nodiscard]] std::span<const std::byte> part(const BmpRange& range) const;
  // `row` counts from the top; not of compressed pixels.
  [[nodiscard]] std::span<const std::byte> row(std::uint32_t row) const;
  [[nodiscard]] Palette palette() const;
  // An error if a pixel's index is outside the colour table.
  [[nodiscard]] Result<void> checkIndices() const;
  // Whether the alpha channel is one. Some programs declare it and leave zeros in it; a picture
  // that is nowhere visible is taken for an opaque one.
  [[nodiscard]] bool hasAlpha() const;

 private:
  BmpFile() = default;
  [[nodiscard]] SourceStatus check() const;
  [[nodiscard]] bool findAlpha() const;

  FileBytes file_;
  Limits limits_;
  BmpHeader header_;
  mutable std::once_flag checked_;
  mutable SourceStatus status_;
  mutable std::once_flag alphaFound_;
  mutable bool hasAlpha_ = false;
};

Error outsideTable(unsigned index, std::size_t entries);

// Indices of a stored row, one after the other.
void unpackBmpIndices(std::span<const std::byte> row, unsigned bits,
                      std::span<std::uint8_t> indices);

}  // namespace kelvo
