#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Numbers and structures of image files, byte by byte.
namespace kelvo::test {

inline std::string big(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i) & 0xFFU);
  return text;
}

inline std::string little(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i, value >>= 8U) text += static_cast<char>(value & 0xFFU);
  return text;
}

inline std::string repeated(std::string_view piece, std::size_t times) {
  std::string text;
  text.reserve(piece.size() * times);
  for (std::size_t i = 0; i < times; ++i) text += piece;
  return text;
}

}  // namespace kelvo::test
