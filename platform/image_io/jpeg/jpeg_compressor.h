#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/image_io/jpeg/embedded_thumbnails.h"
#include "platform/image_io/jpeg/jpeg_properties.h"
#include "platform/image_io/jpeg/libjpeg_guard.h"

namespace kelvo {
class OutputFile;
}

namespace kelvo::jpeg {

// The library's compressor, set up as the old file was made, writing to an output file.
class Compressor {
 public:
  explicit Compressor(OutputFile& output);
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  ~Compressor();

  // Writes everything before the pixels. `positions` gets where each segment's payload stands in
  // the output.
  Result<void> start(const Properties& properties, const std::vector<PreparedSegment>& segments,
                     std::vector<std::uint64_t>& positions);
  // Tightly packed rows of 8-bit r g b.
  Result<void> writeRows(std::span<const std::byte> pixels, std::uint32_t rows);
  // The rest of the picture and the end-of-image marker.
  Result<void> finish();

  // Rows that go through the compressor at a time without being kept.
  [[nodiscard]] std::uint32_t rowsAtOnce() const;

 private:
  struct Destination {
    jpeg_destination_mgr base = {};  // first: the library's pointer to it points to this
    Compressor* owner = nullptr;
  };

  static void startOutput(j_compress_ptr info);
  static boolean emptyBuffer(j_compress_ptr info);
  static void endOutput(j_compress_ptr info);
  bool writeBuffer(std::size_t count);
  [[nodiscard]] std::uint64_t outputPosition() const;
  [[nodiscard]] Error failure() const;

  // What the set-up needs, made before it: nothing that it does may own memory.
  void prepare(const Structure& structure);
  void setUp(const Properties& properties);
  void setTables(const Structure& structure);
  void setScans(const Structure& structure);

  OutputFile* output_;
  Result<void> outputFailure_;
  std::vector<JOCTET> buffer_;
  Destination destination_;
  ErrorManager errors_;
  jpeg_compress_struct info_ = {};
  std::array<std::optional<HuffmanTable>, kTableSlots> dcTables_;
  std::array<std::optional<HuffmanTable>, kTableSlots> acTables_;
  bool optimizeSmall_ = false;
  std::uint32_t restartRows_ = 0;      // of coded units, the same in every scan; 0: no such number
  std::vector<jpeg_scan_info> scans_;  // empty: the library's own choice
  bool created_ = false;
};

}  // namespace kelvo::jpeg
