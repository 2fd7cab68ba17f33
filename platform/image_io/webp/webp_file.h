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

// The structure of a WebP file: what its chunks are, before any of them is decoded.
namespace kelvo {

struct WebpChunk {
  std::array<char, 4> type{};
  std::span<const std::byte> data;
  std::span<const std::byte> whole;  // type, length, data and padding as they stand in the file

  [[nodiscard]] std::string_view name() const { return {type.data(), type.size()}; }
  // Chunks that hold pixels.
  [[nodiscard]] bool lossy() const { return name() == "VP8 "; }
  [[nodiscard]] bool lossless() const { return name() == "VP8L"; }
  [[nodiscard]] bool alpha() const { return name() == "ALPH"; }
};

struct WebpChunks {
  std::vector<WebpChunk> chunks;  // those that are whole
  std::string cause;              // what ended the pass before the end; empty if nothing did
};
// Passes over chunks by their lengths.
WebpChunks readWebpChunks(std::span<const std::byte> bytes);

struct WebpFrame {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool lossless = false;
  bool alpha = false;
  // From the alpha chunk, if there is one, to the end of the chunk with the colours: what a decoder
  // is given.
  std::span<const std::byte> stored;
  std::span<const std::byte> bitstream;  // the data of the chunk with the colours

  // Where the frame stands among the file's chunks.
  std::size_t firstChunk = 0;
  std::size_t chunkCount = 0;
  // An animation's frame is one chunk: place, duration, blending and disposal, then chunks again.
  // Empty otherwise.
  std::span<const std::byte> animationHeader;
  std::vector<WebpChunk> parts;  // the chunks that the frame is made of

  [[nodiscard]] std::uint64_t pixels() const { return std::uint64_t{width} * height; }
};

// One file's chunks in their order. Holds the file; the spans point into it.
class WebpFile {
 public:
  // Reads the whole structure. Errors: more pixels or frames than the limits allow. Whatever is
  // wrong with the structure is left to status(); the frames are those before that place.
  static Result<std::shared_ptr<const WebpFile>> open(FileBytes file, const Limits& limits);

  [[nodiscard]] const MappedFile& bytes() const { return *file_; }
  [[nodiscard]] const Limits& limits() const { return limits_; }
  [[nodiscard]] std::span<const WebpChunk> chunks() const { return chunks_; }
  [[nodiscard]] std::span<const WebpFrame> frames() const { return frames_; }
  // Bytes after the end that the header tells: not part of the picture, kept as they are.
  [[nodiscard]] std::span<const std::byte> trailer() const { return trailer_; }
  [[nodiscard]] std::span<const std::byte> profile() const;  // empty if there is none
  [[nodiscard]] const SourceStatus& status() const { return status_; }

 private:
  WebpFile() = default;
  void readContainer();
  std::string readPictures();
  std::string readStill();
  std::string readAnimation();
  std::string addFrame(WebpFrame frame);
  [[nodiscard]] Result<void> checkLimits() const;
  [[nodiscard]] std::size_t count(std::string_view name) const;

  FileBytes file_;
  Limits limits_;
  std::vector<WebpChunk> chunks_;
  std::vector<WebpFrame> frames_;
  std::span<const std::byte> trailer_;
  SourceStatus status_;
  std::uint32_t canvasWidth_ = 0;  // 0 if the file does not tell
  std::uint32_t canvasHeight_ = 0;
};

inline constexpr std::size_t kRiffHeaderBytes = 12;  // RIFF, length, WEBP
inline constexpr std::size_t kChunkHeaderBytes = 8;  // type, length

}  // namespace kelvo
