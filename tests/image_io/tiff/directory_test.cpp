// The reader of directories, on bytes that are whole and on bytes that are not.
#include "platform/image_io/tiff/directory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

using Bytes = std::vector<std::byte>;

Bytes bytesOf(const std::string& text) {
  const auto* const data = reinterpret_cast<const std::byte*>(text.data());
  return {data, data + text.size()};
}

// A big-endian block with a directory at 8 of three entries: two shorts in the entry, text at 50,
// and one long at a place that is given.
Bytes block(std::uint8_t place) {
  std::string text("MM\0*\0\0\0\x08", 8);
  text += std::string("\0\3", 2);
  text += std::string("\1\0\0\3\0\0\0\2\0\7\0\x09", 12);
  text += std::string("\1\x0E\0\2\0\0\0\5\0\0\0\x32", 12);
  text += std::string("\1\x11\0\4\0\0\0\2\0\0\0", 11) + static_cast<char>(place);
  text += std::string("\0\0\0\0", 4);
  text += std::string("text\0\0", 6) + std::string("\0\0\0\1\0\0\0\2", 8);
  return bytesOf(text);
}

View viewOf(const Bytes& bytes) { return {bytes, {.bigEndian = true, .big = false}}; }

TEST(TiffDirectory, ValuesAreFoundInTheirEntriesAndOutside) {
  const Bytes bytes = block(56);
  ASSERT_EQ(bytes.size(), 64U);
  const auto [directory, problem] = readDirectory(viewOf(bytes), 8);
  EXPECT_EQ(problem.status, CGImageSourceStatus::complete);
  ASSERT_EQ(directory.entries.size(), 3U);
  EXPECT_EQ(directory.tableBytes, 2U + 3 * 12 + 4);
  EXPECT_EQ(integers(viewOf(bytes), *directory.find(kImageWidth)),
            (std::vector<std::uint64_t>{7, 9}));
  EXPECT_EQ(integers(viewOf(bytes), *directory.find(kStripOffsets)),
            (std::vector<std::uint64_t>{1, 2}));
  const auto text = valueBytes(viewOf(bytes), *directory.find(270));
  ASSERT_EQ(text.size(), 5U);
  EXPECT_EQ(text[0], std::byte{'t'});
  EXPECT_EQ(directory.find(999), nullptr);
}

TEST(TiffDirectory, AfterAProblemTheOtherEntriesAreReadAllTheSame) {
  const Bytes bytes = block(57);  // the last byte of its value is missing
  const auto [directory, problem] = readDirectory(viewOf(bytes), 8);
  EXPECT_EQ(problem.status, CGImageSourceStatus::incomplete);
  EXPECT_EQ(problem.cause, "the value of tag 273 lies outside the file");
  ASSERT_EQ(directory.entries.size(), 3U);
  EXPECT_EQ(integers(viewOf(bytes), directory.entries[0]), (std::vector<std::uint64_t>{7, 9}));
  EXPECT_TRUE(integers(viewOf(bytes), directory.entries[2]).empty());
  EXPECT_TRUE(valueBytes(viewOf(bytes), directory.entries[2]).empty());
}

TEST(TiffDirectory, ItsTableMayLackTheNextOffsetButNoEntry) {
  Bytes bytes = block(56);
  bytes.resize(8 + 2 + 36 + 3);
  auto read = readDirectory(viewOf(bytes), 8);
  EXPECT_EQ(read.problem.cause, "the file ends within its directory at byte 8");
  EXPECT_EQ(read.directory.entries.size(), 3U);
  EXPECT_EQ(read.directory.next, 0U);
  bytes.resize(8 + 2 + 35);
  read = readDirectory(viewOf(bytes), 8);
  EXPECT_EQ(read.problem.cause, "the file ends within its directory at byte 8");
  EXPECT_EQ(read.directory.tableBytes, 0U);
  EXPECT_TRUE(read.directory.entries.empty());
  EXPECT_EQ(readDirectory(viewOf(bytes), 44).problem.cause,
            "the file ends before its directory at byte 44");
  EXPECT_EQ(readDirectory(viewOf(bytes), ~std::uint64_t{0}).directory.tableBytes, 0U);
}

TEST(TiffDirectory, NumbersOutsideTheBytesAreZero) {
  const Bytes bytes = block(56);
  EXPECT_EQ(viewOf(bytes).integer(60, 4), 2U);
  EXPECT_EQ(viewOf(bytes).integer(61, 4), 0U);
  EXPECT_EQ(viewOf(bytes).integer(~std::uint64_t{0}, 2), 0U);
}

// The sanitizers watch what it touches.
TEST(TiffDirectory, BytesWithoutSenseAreReadWithoutHarm) {
  std::mt19937 random(3);
  for (int i = 0; i < 2000; ++i) {
    Bytes bytes = block(56);
    for (int k = 0; k < 3; ++k) bytes[random() % bytes.size()] = static_cast<std::byte>(random());
    bytes.resize(random() % (bytes.size() + 1));
    for (const bool big : {false, true}) {
      const View view = {bytes, {.bigEndian = (i & 1) != 0, .big = big}};
      const auto read = readDirectory(view, random() % 64);
      for (const Entry& entry : read.directory.entries) {
        const bool held = view.holds(entry.value, entry.bytes);
        EXPECT_EQ(valueBytes(view, entry).size(), held ? entry.bytes : 0);
        EXPECT_LE(integers(view, entry).size(), bytes.size());
      }
    }
  }
}

}  // namespace
}  // namespace kelvo::tiff
