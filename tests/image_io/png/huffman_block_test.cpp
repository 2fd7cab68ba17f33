#include "platform/image_io/png/huffman_block.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <array>
#include <random>
#include <utility>
#include <vector>

namespace kelvo {
namespace {

using Bytes = std::vector<std::uint8_t>;

// What zlib makes of the blocks, followed by an empty last one. Fails the test if they are no
// complete stream of `size` bytes that ends where the bytes end.
Bytes unpacked(Bytes blocks, std::size_t size) {
  constexpr std::array<std::uint8_t, 5> kLast = {0x01, 0x00, 0x00, 0xff, 0xff};
  blocks.insert(blocks.end(), kLast.begin(), kLast.end());
  Bytes out(size + 1);
  z_stream stream{};
  EXPECT_EQ(inflateInit2(&stream, -15), Z_OK);
  stream.next_in = blocks.data();
  stream.avail_in = static_cast<uInt>(blocks.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0U);
  out.resize(stream.total_out);
  inflateEnd(&stream);
  return out;
}

Bytes packed(const Bytes& bytes) {
  Bytes out;
  appendHuffmanBlock(bytes, out);
  return out;
}

TEST(HuffmanBlock, ShortAndUniformContentsComeBack) {
  for (const Bytes& bytes :
       {Bytes{}, Bytes{7}, Bytes{0}, Bytes{255, 0}, Bytes(100'000, 0), Bytes(3, 255)}) {
    EXPECT_EQ(unpacked(packed(bytes), bytes.size()), bytes) << bytes.size() << " bytes";
  }
}

TEST(HuffmanBlock, EverySetOfBytesComesBack) {
  for (unsigned different = 1; different <= 256; ++different) {
    Bytes bytes;
    for (unsigned i = 0; i < 3 * different + 1; ++i) {
      bytes.push_back(static_cast<std::uint8_t>(i % different * 255 / 256 + (256 - different)));
    }
    ASSERT_EQ(unpacked(packed(bytes), bytes.size()), bytes) << different << " different bytes";
  }
}

TEST(HuffmanBlock, NoiseOfEveryWidthComesBack) {
  std::mt19937 random(1);
  for (const double width : {0.3, 1.0, 3.0, 10.0, 40.0, 200.0}) {
    std::normal_distribution<double> noise(0, width);
    Bytes bytes(70'001);
    for (std::uint8_t& byte : bytes) {
      byte = static_cast<std::uint8_t>(static_cast<int>(noise(random)) & 255);
    }
    EXPECT_EQ(unpacked(packed(bytes), bytes.size()), bytes) << width;
  }
}

// Counts that grow like Fibonacci's numbers make the deepest tree there can be, far over the 15
// bits that a code may have.
TEST(HuffmanBlock, CodesThatWouldBeTooLongAreShortened) {
  Bytes bytes;
  std::size_t count = 1;
  std::size_t before = 1;
  for (unsigned value = 0; value < 26; ++value) {
    bytes.insert(bytes.end(), count, static_cast<std::uint8_t>(value * 9));
    count += std::exchange(before, count);
  }
  EXPECT_EQ(unpacked(packed(bytes), bytes.size()), bytes);
}

TEST(HuffmanBlock, BlocksFollowEachOther) {
  Bytes out = packed({1, 2, 3});
  appendHuffmanBlock(Bytes{4, 5}, out);
  appendHuffmanBlock(Bytes{}, out);
  appendHuffmanBlock(Bytes(10, 6), out);
  EXPECT_EQ(unpacked(out, 15), (Bytes{1, 2, 3, 4, 5, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6}));
}

// Sixteen equally likely values and the end of the block: the best code has fifteen of four bits
// and two of five, 15 · 4000 · 4 + 4000 · 5 + 5 bits, and the tables take less than 250 bytes.
TEST(HuffmanBlock, TakesAboutAsManyBitsAsThereIsInformation) {
  Bytes bytes;
  for (unsigned i = 0; i < 64'000; ++i) bytes.push_back(static_cast<std::uint8_t>(i % 16 * 11));
  EXPECT_GT(packed(bytes).size(), 32'500U);
  EXPECT_LT(packed(bytes).size(), 32'750U);
}

}  // namespace
}  // namespace kelvo
