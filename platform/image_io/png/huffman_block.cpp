#include "platform/image_io/png/huffman_block.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

namespace kelvo {
namespace {

constexpr unsigned kEndOfBlock = 256;
constexpr unsigned kLiterals = 257;       // 256 bytes and the end of the block
constexpr unsigned kMaxLength = 15;       // of a code, in bits
constexpr unsigned kMaxLengthLength = 7;  // of a code for a length

struct Code {
  std::uint16_t bits = 0;  // first bit lowest
  std::uint8_t length = 0;
};

// Lengths of an optimal prefix code, none above `limit`: every symbol that occurs gets one. At
// least two symbols occur.
template <std::size_t n>
std::array<std::uint8_t, n> codeLengths(std::array<std::uint32_t, n> counts, unsigned limit) {
  std::array<std::uint8_t, n> lengths{};
  while (true) {
    // Huffman's algorithm on two queues: symbols by count, and pairs in the order they are made.
    std::vector<std::pair<std::uint64_t, std::size_t>> leaves;
    for (std::size_t symbol = 0; symbol < n; ++symbol) {
      if (counts[symbol] != 0) leaves.emplace_back(counts[symbol], symbol);
    }
    std::sort(leaves.begin(), leaves.end());
    const std::size_t total = 2 * leaves.size() - 1;
    std::vector<std::uint64_t> weights(total);
    std::vector<std::size_t> parents(total);
    for (std::size_t i = 0; i < leaves.size(); ++i) weights[i] = leaves[i].first;
    std::size_t leaf = 0;
    std::size_t pair = leaves.size();
    for (std::size_t next = leaves.size(); next < total; ++next) {
      for (int child = 0; child < 2; ++child) {
        const bool takeLeaf =
            leaf < leaves.size() && (pair == next || weights[leaf] <= weights[pair]);
        const std::size_t taken = takeLeaf ? leaf++ : pair++;
        weights[next] += weights[taken];
        parents[taken] = next;
      }
    }
    std::vector<unsigned> depths(total);
    unsigned deepest = 0;
    for (std::size_t i = total - 1; i-- > 0;) {
      depths[i] = depths[parents[i]] + 1;
      deepest = std::max(deepest, depths[i]);
    }
    if (deepest <= limit) {
      for (std::size_t i = 0; i < leaves.size(); ++i) {
        lengths[leaves[i].second] = static_cast<std::uint8_t>(depths[i]);
      }
      return lengths;
    }
    // Too deep: rare symbols are taken for less rare, which costs next to nothing. Once all counts
    // are alike the tree is as flat as it can be.
    for (std::uint32_t& count : counts) {
      if (count != 0) count = count / 2 + 1;
    }
  }
}

// The codes that the lengths stand for (RFC 1951, 3.2.2).
template <std::size_t n>
std::array<Code, n> codesOf(const std::array<std::uint8_t, n>& lengths) {
  std::array<unsigned, kMaxLength + 1> next{};
  for (const std::uint8_t length : lengths) ++next[length];
  next[0] = 0;
  unsigned code = 0;
  for (unsigned length = 1, before = 0; length <= kMaxLength; ++length) {
    code = (code + before) << 1;
    before = std::exchange(next[length], code);
  }
  std::array<Code, n> codes;
  for (std::size_t symbol = 0; symbol < n; ++symbol) {
    const unsigned length = lengths[symbol];
    if (length == 0) continue;
    unsigned bits = next[length]++;
    unsigned reversed = 0;
    for (unsigned i = 0; i < length; ++i, bits >>= 1) reversed = reversed << 1 | (bits & 1U);
    codes[symbol] = {static_cast<std::uint16_t>(reversed), static_cast<std::uint8_t>(length)};
  }
  return codes;
}

// Bits, the first lowest, into memory that the caller has made large enough.
class BitWriter {
 public:
  explicit BitWriter(std::uint8_t* out) : out_(out) {}

  // At most 48 bits between two flushes.
  void put(std::uint64_t bits, unsigned count) {
    held_ |= bits << count_;
    count_ += count;
  }
  void put(Code code) { put(code.bits, code.length); }

  // Leaves less than a byte. Up to eight bytes from here on are written over.
  void flush() {
    std::uint64_t bytes = held_;
    if constexpr (std::endian::native == std::endian::big) bytes = __builtin_bswap64(bytes);
    std::memcpy(out_, &bytes, sizeof(bytes));
    out_ += count_ / 8;
    held_ >>= count_ & ~7U;
    count_ &= 7U;
  }

  std::uint8_t* finishByte() {
    count_ = (count_ + 7) & ~7U;
    flush();
    return out_;
  }

 private:
  std::uint8_t* out_;
  std::uint64_t held_ = 0;
  unsigned count_ = 0;
};

// Four tables, so that equal neighbours do not wait for each other.
std::array<std::uint32_t, kLiterals> countBytes(std::span<const std::uint8_t> bytes) {
  std::array<std::array<std::uint32_t, 256>, 4> counts{};
  std::size_t i = 0;
  for (; i + 4 <= bytes.size(); i += 4) {
    for (std::size_t k = 0; k < 4; ++k) ++counts[k][bytes[i + k]];
  }
  for (; i < bytes.size(); ++i) ++counts[0][bytes[i]];
  std::array<std::uint32_t, kLiterals> sums{};
  for (std::size_t value = 0; value < 256; ++value) {
    for (const auto& part : counts) sums[value] += part[value];
  }
  sums[kEndOfBlock] = 1;
  return sums;
}

// The codes' lengths are themselves coded, without the format's abbreviations for runs: a block is
// so long that they would save nothing.
void putHeader(const std::array<std::uint8_t, kLiterals>& lengths, BitWriter& writer) {
  constexpr std::array<std::uint8_t, 19> kOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                   11, 4,  12, 3, 13, 2, 14, 1, 15};
  constexpr unsigned kDistanceLength = 1;  // there are no distances; one code has to be named
  std::array<std::uint32_t, 19> counts{};
  for (const std::uint8_t length : lengths) ++counts[length];
  ++counts[kDistanceLength];
  // A code needs two symbols.
  for (std::size_t i = 1; std::count(counts.begin(), counts.end(), 0U) > 17; ++i) {
    if (counts[i] == 0) counts[i] = 1;
  }
  const auto lengthLengths = codeLengths(counts, kMaxLengthLength);
  const auto codes = codesOf(lengthLengths);
  writer.put(0, 1);  // not the last block
  writer.put(2, 2);  // with its own codes
  writer.put(kLiterals - 257, 5);
  writer.put(0, 5);   // one distance code
  writer.put(15, 4);  // all 19 lengths of lengths
  writer.flush();
  for (const std::uint8_t symbol : kOrder) {
    writer.put(lengthLengths[symbol], 3);
    writer.flush();
  }
  for (const std::uint8_t length : lengths) {
    writer.put(codes[length]);
    writer.flush();
  }
  writer.put(codes[kDistanceLength]);
  writer.flush();
}

}  // namespace

void appendHuffmanBlock(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& out) {
  auto counts = countBytes(bytes);
  if (bytes.empty()) counts[0] = 1;  // a code needs two symbols
  const auto lengths = codeLengths(counts, kMaxLength);
  const auto codes = codesOf(lengths);
  std::uint64_t bits = 0;
  for (std::size_t symbol = 0; symbol < kLiterals; ++symbol) {
    bits += std::uint64_t{counts[symbol]} * lengths[symbol];
  }
  constexpr std::size_t kHeaderBytes = 512;  // 19 · 3 and 258 · 7 bits, the end, what flush wants
  const std::size_t start = out.size();
  out.resize(start + static_cast<std::size_t>(bits / 8) + kHeaderBytes);
  BitWriter writer(out.data() + start);
  putHeader(lengths, writer);
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    for (std::size_t k = 0; k < 3; ++k) writer.put(codes[bytes[i + k]]);
    writer.flush();
  }
  for (; i < bytes.size(); ++i) {
    writer.put(codes[bytes[i]]);
    writer.flush();
  }
  writer.put(codes[kEndOfBlock]);
  writer.put(0, 3);  // a stored block, not the last
  std::uint8_t* end = writer.finishByte();
  constexpr std::array<std::uint8_t, 4> kNoBytes = {0x00, 0x00, 0xff, 0xff};  // length, and not it
  end = std::copy(kNoBytes.begin(), kNoBytes.end(), end);
  out.resize(static_cast<std::size_t>(end - out.data()));
}

}  // namespace kelvo
