#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/image_io/codec.h"

// The structure of a PNG file: what its chunks are, before any of them is decoded.
namespace kelvo {

enum class PngColor : std::uint8_t { gray = 0, rgb = 2, indexed = 3, grayAlpha = 4, rgba = 6 };

struct PngHeader {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint8_t bitDepth = 8;  // of a sample, or of an index
  PngColor color = PngColor::rgb;
  bool interlaced = false;

  [[nodiscard]] unsigned channels() const;  // samples of a stored pixel; 1 for an index
  [[nodiscard]] unsigned pixelBits() const { return channels() * bitDepth; }
};

// Four letters. The case of the first says whether a reader may pass over the chunk.
struct PngChunk {
  std::array<char, 4> type{};
  std::span<const std::byte> data;
  std::span<const std::byte> whole;  // length, type, data and checksum as they stand in the file

  [[nodiscard]] std::string_view name() const { return {type.data(), type.size()}; }
  [[nodiscard]] bool critical() const { return (type[0] & 0x20) == 0; }
};

// A picture of a file: what every reader shows, or a frame of the animation.
struct PngPicture {
  PngHeader header;                              // the file's, with the picture's own size
  std::vector<std::span<const std::byte>> data;  // compressed, in parts
  std::size_t first = 0;                         // the chunks that the data begins and ends in
  std::size_t last = 0;
};

// One file's chunks in their order. Holds the file; the spans point into it.
class PngFile {
 public:
  // Reads the header and passes over the chunks by their lengths. Errors: no sensible header, more
  // pixels or frames than the limits allow. Whatever else is wrong is left to status().
  static Result<std::shared_ptr<const PngFile>> open(FileBytes file, const Limits& limits);

  [[nodiscard]] const MappedFile& bytes() const { return *file_; }
  [[nodiscard]] const PngHeader& header() const { return header_; }
  [[nodiscard]] const Limits& limits() const { return limits_; }
  [[nodiscard]] std::span<const PngChunk> chunks() const { return chunks_; }
  // The first one of this name before the picture data; null if there is none.
  [[nodiscard]] const PngChunk* find(std::string_view name) const;
  // First the one that every reader shows, whether it is part of an animation or not; then the
  // further frames of the animation. At least one.
  [[nodiscard]] std::span<const PngPicture> pictures() const { return pictures_; }
  // Bytes after the end chunk: not part of the picture, kept as they are.
  [[nodiscard]] std::span<const std::byte> trailer() const { return trailer_; }

  // The colour table with the alphas of tRNS; entries without one have 255.
  [[nodiscard]] Palette palette() const;
  // The one colour of an RGB or gray file that stands for transparent, a sample a channel, within
  // the file's depth. Empty if there is none.
  [[nodiscard]] std::vector<std::uint16_t> colorKey() const;

  // Checks every checksum and the order of the chunks to the end chunk.
  [[nodiscard]] SourceStatus status() const;

 private:
  PngFile() = default;
  Result<void> readHeader(std::span<const std::byte> bytes);
  void readChunks(std::span<const std::byte> bytes);
  [[nodiscard]] std::string checkOrder() const;
  [[nodiscard]] std::string checkTransparency(std::size_t paletteEntries) const;

  FileBytes file_;
  Limits limits_;
  PngHeader header_;
  std::vector<PngChunk> chunks_;
  std::vector<PngPicture> pictures_;
  std::span<const std::byte> trailer_;
  SourceStatus walked_;  // what stopped the pass over the chunks
};

inline constexpr std::array kPngSignature = {std::byte{0x89}, std::byte{'P'},  std::byte{'N'},
                                             std::byte{'G'},  std::byte{'\r'}, std::byte{'\n'},
                                             std::byte{0x1a}, std::byte{'\n'}};

std::uint32_t readBigEndian32(std::span<const std::byte> bytes);
std::uint16_t readBigEndian16(std::span<const std::byte> bytes);

}  // namespace kelvo
