#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/image_io/codec.h"

namespace kelvo::tiff_test {

using Bytes = std::vector<std::byte>;

// A directory of its own for the files of one test; removed with it.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  [[nodiscard]] std::string path(const std::string& name) const { return directory_ + "/" + name; }

 private:
  std::string directory_;
};

// Runs a shell command and returns its standard output; a failing command fails the test.
std::string run(const std::string& command);

Bytes readFile(const std::string& path);
void writeFile(const std::string& path, std::span<const std::byte> bytes);
Bytes bytesOf(std::string_view text);
// Where `part` begins in `whole`; npos if it does not occur.
std::size_t find(std::span<const std::byte> whole, std::span<const std::byte> part);

std::unique_ptr<CodecSource> open(Bytes bytes, const Limits& limits = {});  // null: refused
std::string openError(Bytes bytes, const Limits& limits = {});

// What stands between reading and writing. Rows arrive as the codec delivers them.
struct Adjustment {
  std::function<void(std::span<std::byte> rows)> rows;                   // null: none
  std::function<void(std::array<std::uint8_t, 4>& color)> paletteColor;  // null: none
  bool eightBits = false;  // 16-bit samples are rounded to 8 bits
};

// Reads every frame of a file and writes it back through the codec, with straight alpha
// premultiplied on the way as a renderer does.
Result<Bytes> rewrite(const Bytes& file, const Adjustment& adjustment = {},
                      const Limits& limits = {});
// The same, failing the test if it fails.
Bytes rewritten(const Bytes& file, const Adjustment& adjustment = {}, const Limits& limits = {});

// A frame's samples, decoded by another program: 16-bit r g b a.
std::vector<std::uint16_t> decodedElsewhere(const std::string& path, int page = 0);
// A frame's pixels as the codec delivers them.
Result<Bytes> decoded(const Bytes& file, std::size_t frame = 0, const Limits& limits = {});

// Everything that another program tells about a file's tags, offsets and file dates left out.
std::string tagsElsewhere(const std::string& path);
// Everything that libtiff tells about the arrangement of a file's frames, offsets left out.
std::string structureElsewhere(const std::string& path);

// Builds files entry by entry, in either byte order, classic or BigTIFF.
class TiffBuilder {
 public:
  explicit TiffBuilder(bool bigEndian = false, bool big = false);

  struct Field {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint64_t count = 0;
    Bytes value;  // in the file's byte order
  };
  [[nodiscard]] Field shorts(std::uint16_t tag, const std::vector<std::uint16_t>& values) const;
  [[nodiscard]] Field longs(std::uint16_t tag, const std::vector<std::uint32_t>& values) const;
  [[nodiscard]] Field bytes(std::uint16_t tag, std::uint16_t type, const Bytes& value) const;

  // Appends bytes and returns where they begin.
  std::uint64_t append(std::span<const std::byte> bytes);
  // Appends a directory, its values after it, and returns where it begins.
  std::uint64_t directory(std::vector<Field> fields, std::uint64_t next = 0);
  void setFirst(std::uint64_t offset);
  // Overwrites bytes.
  void patch(std::uint64_t position, std::uint64_t value, std::size_t bytes);
  [[nodiscard]] std::uint64_t nextPosition(std::uint64_t directory) const;
  [[nodiscard]] std::uint64_t size() const { return file_.size(); }
  [[nodiscard]] const Bytes& file() const { return file_; }

  // The fields of an uncompressed 8-bit RGB frame in one strip.
  [[nodiscard]] std::vector<Field> rgbFields(std::uint32_t width, std::uint32_t height,
                                             std::uint64_t pixels) const;

 private:
  void put(Bytes& to, std::uint64_t value, std::size_t bytes) const;

  bool bigEndian_;
  bool big_;
  Bytes file_;
};

// width * height * samples bytes that no compression shortens much.
Bytes noise(std::size_t length, std::uint32_t seed = 1);

}  // namespace kelvo::tiff_test
