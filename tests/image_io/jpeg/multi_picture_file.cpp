#include "tests/image_io/jpeg/multi_picture_file.h"

#include "tests/image_io/jpeg/jpeg_test_support.h"

namespace kelvo::test {

std::string number(std::uint32_t value, bool little, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) {
    text += static_cast<char>(value >> (8 * (little ? i : bytes - 1 - i)) & 0xFF);
  }
  return text;
}

std::string multiPicture(const std::vector<Part>& parts, bool little, std::int64_t shift) {
  const auto count = static_cast<std::uint32_t>(parts.size());
  const std::size_t header = 8 + 2 + 4 * 12 + 4;
  // Marker, length and "MPF" come before the numbers that offsets are counted from.
  const std::size_t base = 2 + 4 + 4;
  const std::size_t segment = 4 + 4 + header + (16 + 33) * parts.size();
  std::string tiff =
      (little ? std::string("II*\0", 4) : std::string("MM\0*", 4)) + number(8, little);
  const auto field = [&](std::uint32_t tag, std::uint32_t type, std::uint32_t n,
                         std::string value) {
    tiff += number(tag, little, 2) + number(type, little, 2) + number(n, little) + value;
  };
  tiff += number(4, little, 2);
  field(0xB000, 7, 4, "0100");
  field(0xB001, 4, 1, number(count, little));
  field(0xB002, 7, 16 * count, number(static_cast<std::uint32_t>(header), little));
  field(0xB003, 7, 33 * count, number(static_cast<std::uint32_t>(header) + 16 * count, little));
  tiff += number(0, little);
  std::size_t begin = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const std::size_t size = parts[i].picture.size() + (i == 0 ? segment : 0);
    const std::size_t offset =
        i == 0 ? 0 : static_cast<std::size_t>(static_cast<std::int64_t>(begin - base) + shift);
    tiff += number(parts[i].attribute, little) +
            number(static_cast<std::uint32_t>(size + parts[i].surplus), little) +
            number(static_cast<std::uint32_t>(offset), little) +
            number(parts[i].dependsOn, little, 2) + number(0, little, 2);
    begin += size + parts[i].gap.size();
  }
  for (std::size_t i = 0; i < parts.size(); ++i) {
    tiff += std::string(32, static_cast<char>('a' + i)) + '\0';
  }
  std::string file =
      withSegment(parts[0].picture, 0xE2, std::string("MPF\0", 4) + tiff) + parts[0].gap;
  for (std::size_t i = 1; i < parts.size(); ++i) file += parts[i].picture + parts[i].gap;
  return file;
}

}  // namespace kelvo::test
