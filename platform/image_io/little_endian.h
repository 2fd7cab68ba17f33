#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kelvo {

// The number whose lowest byte comes first; at most 4 bytes.
constexpr std::uint32_t readLittleEndian(std::span<const std::byte> bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) {
    value = value << 8 | std::to_integer<std::uint32_t>(bytes[i]);
  }
  return value;
}
constexpr std::uint32_t readLittleEndian16(std::span<const std::byte> bytes, std::size_t at) {
  return readLittleEndian(bytes.subspan(at, 2));
}
constexpr std::uint32_t readLittleEndian24(std::span<const std::byte> bytes, std::size_t at) {
  return readLittleEndian(bytes.subspan(at, 3));
}
constexpr std::uint32_t readLittleEndian32(std::span<const std::byte> bytes, std::size_t at) {
  return readLittleEndian(bytes.subspan(at, 4));
}

constexpr void writeLittleEndian(std::span<std::byte> bytes, std::uint32_t value) {
  for (std::byte& byte : bytes) {
    byte = static_cast<std::byte>(value);
    value >>= 8;
  }
}

}  // namespace kelvo
