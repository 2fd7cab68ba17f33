#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/result.h"

// The box structure of ISO base media files (ISO/IEC 14496-12): everything big-endian.
namespace kelvo::heif {

using Bytes = std::span<const std::byte>;
using FourCC = std::uint32_t;

constexpr FourCC fourCC(const char (&name)[5]) {
  FourCC value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(name[i]);
  return value;
}
// "'hvc1'", with what cannot be printed as question marks.
std::string quoted(FourCC type);

struct Box {
  FourCC type = 0;
  Bytes whole;
  Bytes payload;
  bool toEnd = false;  // its size says "all that follows"

  [[nodiscard]] std::size_t headerBytes() const { return whole.size() - payload.size(); }
};

// Reads numbers one after the other. Past the end everything is 0 and ok() is false.
class Reader {
 public:
  explicit Reader(Bytes bytes) : bytes_(bytes) {}

  // A whole number of 0 to 8 bytes.
  std::uint64_t number(std::size_t bytes);
  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
  Bytes take(std::size_t count);
  // Up to a zero byte, which is passed over.
  std::string text();

  [[nodiscard]] bool ok() const { return ok_; }
  [[nodiscard]] Bytes rest() const { return bytes_; }

 private:
  Bytes bytes_;
  bool ok_ = true;
};

class Builder {
 public:
  void number(std::uint64_t value, std::size_t bytes);
  void append(Bytes bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  // A box around everything until the matching end().
  std::size_t begin(FourCC type);
  void end(std::size_t begun);

  [[nodiscard]] const std::vector<std::byte>& bytes() const { return bytes_; }
  std::vector<std::byte> take() { return std::move(bytes_); }

 private:
  std::vector<std::byte> bytes_;
};

// Boxes that fill `bytes` exactly, or those before the first that does not fit, and why.
struct BoxList {
  std::vector<Box> boxes;
  bool whole = true;
  bool endsEarly = false;  // the last box reaches past the end
  std::string problem;
};
BoxList readBoxes(Bytes bytes);

}  // namespace kelvo::heif
