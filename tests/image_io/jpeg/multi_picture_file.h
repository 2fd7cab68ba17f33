#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvo::test {

constexpr std::uint32_t kPrimary = 0x20030000;  // "representative picture"
constexpr std::uint32_t kPreview = 0x00010002;
constexpr std::uint32_t kStereo = 0x00020002;

struct Part {
  std::string picture;
  std::uint32_t attribute = kPreview;
  std::string gap = {};         // between its end and the next picture
  std::size_t surplus = 0;      // bytes of the gap that the index counts as the picture's
  std::uint32_t dependsOn = 0;  // the number of another picture, from 1 on
};

// A whole number of so many bytes.
std::string number(std::uint32_t value, bool little, int bytes = 4);

// Pictures one after the other with an index of them in the first, put together by the letter of
// CIPA DC-007. Each has an identifier: 32 times 'a', 32 times 'b' and so on. `shift` is added to
// the places of the further ones.
std::string multiPicture(const std::vector<Part>& parts, bool little, std::int64_t shift = 0);

}  // namespace kelvo::test
