#pragma once

#include <tiffio.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/image_io/tiff/directory.h"
#include "platform/image_io/tiff/picture.h"

// libtiff as a decoder and encoder of strips and tiles, and nothing else. It never sees a directory
// of the file: reading, it gets one made from what this codec understood, so that the two cannot
// disagree; writing, its output is taken strip by strip.
namespace kelvo::tiff {

struct TiffCloser {
  void operator()(TIFF* handle) const { TIFFClose(handle); }
};
using TiffPointer = std::unique_ptr<TIFF, TiffCloser>;

// The messages of one handle.
class Messages {
 public:
  // The first error, or warning that is not known to be harmless, since the handle was opened.
  [[nodiscard]] const std::string& first() const { return first_; }
  void add(std::string message) {
    if (first_.empty()) first_ = std::move(message);
  }

 private:
  std::string first_;
};

// A handle for decoding the striles of one picture.
class DecodingHandle {
 public:
  static Result<std::unique_ptr<DecodingHandle>> open(const View& view, const Picture& picture,
                                                      std::span<const Extent> striles,
                                                      std::span<const std::byte> jpegTables,
                                                      std::uint64_t maxMemoryBytes);

  // Decodes one strip or tile; `samples` is its exact size. Samples are in the machine's order.
  Result<void> readStrile(std::uint32_t index, std::span<std::byte> samples);
  // Decodes rows of strips one after the other.
  Result<void> readRow(std::uint32_t row, std::uint32_t plane, std::span<std::byte> samples);

 private:
  DecodingHandle() = default;
  Result<void> outcome(bool decoded) const;
  static tmsize_t readProc(thandle_t, void*, tmsize_t);
  static toff_t seekProc(thandle_t, toff_t, int);
  static toff_t sizeProc(thandle_t);

  // What libtiff takes for the file: a header, the bytes of the file, a directory.
  std::vector<std::byte> header_;
  std::span<const std::byte> body_;
  std::vector<std::byte> directory_;
  std::uint64_t position_ = 0;
  bool tiled_ = false;
  Messages messages_;
  TiffPointer handle_;  // last: it is closed first
};

// A handle for encoding the striles of one picture.
class EncodingHandle {
 public:
  static Result<std::unique_ptr<EncodingHandle>> open(const Format& format, const Picture& picture);

  // Encodes one strip or tile; `samples`, in the machine's order, is its exact size and may be
  // changed. The result stands in encoded().
  Result<void> writeStrile(std::uint32_t index, std::span<std::byte> samples);
  // Encodes rows of strips one after the other. encoded() grows while a strip is under way; the
  // caller takes what stands there when it likes.
  Result<void> writeRow(std::uint32_t row, std::uint32_t plane, std::span<std::byte> samples);
  // After the last row of a strip.
  Result<void> endStrip();
  [[nodiscard]] std::vector<std::byte>& encoded() { return encoded_; }

 private:
  EncodingHandle() = default;
  Result<void> outcome(bool encoded) const;
  static tmsize_t writeProc(thandle_t, void*, tmsize_t);
  static toff_t seekProc(thandle_t, toff_t, int);
  static toff_t sizeProc(thandle_t);

  std::vector<std::byte> encoded_;
  std::uint64_t position_ = 0;
  std::uint64_t size_ = 0;
  bool tiled_ = false;
  Messages messages_;
  TiffPointer handle_;
};

}  // namespace kelvo::tiff
