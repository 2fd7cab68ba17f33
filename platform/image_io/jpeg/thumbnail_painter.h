#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kelvo::jpeg {

// Makes a small picture of a large one whose rows pass by: the whole picture, its proportions kept,
// in the middle of a given frame, black around it. Each small pixel is the mean of the area it
// stands for.
class ThumbnailPainter {
 public:
  ThumbnailPainter(std::uint32_t sourceWidth, std::uint32_t sourceHeight, std::uint32_t width,
                   std::uint32_t height);

  // Rows of 8-bit r g b, each once, top to bottom.
  void addRow(std::span<const std::byte> row);

  // After the last row: the small picture as a JPEG stream of at most `capacity` bytes, as good as
  // fits. None if it does not fit at any quality.
  [[nodiscard]] std::optional<std::vector<std::byte>> encode(std::size_t capacity) const;

 private:
  [[nodiscard]] std::uint32_t firstRow(std::uint32_t row) const;
  [[nodiscard]] std::uint32_t endRow(std::uint32_t row) const;
  void finishRow();

  std::uint32_t sourceWidth_;
  std::uint32_t sourceHeight_;
  std::uint32_t width_;
  std::uint32_t height_;
  // The picture's place in the frame.
  std::uint32_t left_ = 0;
  std::uint32_t top_ = 0;
  std::uint32_t pictureWidth_ = 0;
  std::uint32_t pictureHeight_ = 0;
  std::uint32_t rowStep_ = 1;
  std::uint32_t sourceRow_ = 0;  // the next to come
  std::uint32_t row_ = 0;        // of the small picture, being summed
  std::uint32_t summedRows_ = 0;
  std::vector<std::uint32_t> sums_;  // of each sample of a source row
  std::vector<std::uint8_t> pixels_;
};

}  // namespace kelvo::jpeg
