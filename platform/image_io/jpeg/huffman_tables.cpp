#include "platform/image_io/jpeg/huffman_tables.h"

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <limits>
#include <vector>

namespace kelvo::jpeg {
namespace {

constexpr std::size_t kMaxBits = 16;

// Differences of DC values have up to 11 bits; AC values up to 10 after runs of up to 15 zeros, and
// there are the end of block and the run of 16 zeros.
std::vector<std::uint8_t> neededSymbols(HuffmanKind kind) {
  std::vector<std::uint8_t> symbols;
  if (kind == HuffmanKind::dc) {
    for (std::uint8_t bits = 0; bits <= 11; ++bits) symbols.push_back(bits);
    return symbols;
  }
  for (unsigned run = 0; run < 16; ++run) {
    if (run == 0 || run == 15) symbols.push_back(static_cast<std::uint8_t>(run << 4));
    for (unsigned bits = 1; bits <= 10; ++bits) {
      symbols.push_back(static_cast<std::uint8_t>(run << 4 | bits));
    }
  }
  return symbols;
}

// Lengths of an optimal prefix code by merging the two rarest trees, again and again.
std::vector<std::size_t> codeLengths(const std::vector<std::uint64_t>& frequencies) {
  // A tree's leaves are a chain: each knows the next one, the tree the first and the last.
  struct Tree {
    std::uint64_t frequency;
    std::size_t first;
    std::size_t last;
  };
  constexpr std::size_t kEnd = std::numeric_limits<std::size_t>::max();
  std::vector<std::size_t> next(frequencies.size(), kEnd);
  std::vector<Tree> trees;
  trees.reserve(frequencies.size());
  for (std::size_t i = 0; i < frequencies.size(); ++i) trees.push_back({frequencies[i], i, i});
  std::vector<std::size_t> lengths(frequencies.size(), 0);
  const auto rarer = [](const Tree& a, const Tree& b) {
    return a.frequency != b.frequency ? a.frequency > b.frequency : a.first > b.first;
  };
  std::make_heap(trees.begin(), trees.end(), rarer);
  while (trees.size() > 1) {
    std::pop_heap(trees.begin(), trees.end(), rarer);
    const Tree first = trees.back();
    trees.pop_back();
    std::pop_heap(trees.begin(), trees.end(), rarer);
    Tree& second = trees.back();
    second.frequency += first.frequency;
    next[second.last] = first.first;
    second.last = first.last;
    for (std::size_t leaf = second.first; leaf != kEnd; leaf = next[leaf]) ++lengths[leaf];
    std::push_heap(trees.begin(), trees.end(), rarer);
  }
  return lengths;
}

// The standard's own procedure (ITU-T T.81, K.2): pairs of codes that are too long give up one bit,
// for which a shorter code becomes two longer ones.
void limitLengths(std::vector<std::size_t>& counts) {
  for (std::size_t bits = counts.size() - 1; bits > kMaxBits; --bits) {
    while (counts[bits] > 0) {
      std::size_t shorter = bits - 2;
      while (counts[shorter] == 0) --shorter;
      counts[bits] -= 2;
      counts[bits - 1] += 1;
      counts[shorter + 1] += 2;
      counts[shorter] -= 1;
    }
  }
}

}  // namespace

bool isComplete(std::span<const std::uint8_t> symbols, HuffmanKind kind) {
  std::bitset<256> present;
  for (const std::uint8_t symbol : symbols) present.set(symbol);
  const std::vector<std::uint8_t> needed = neededSymbols(kind);
  return present.count() == symbols.size() &&
         std::all_of(needed.begin(), needed.end(),
                     [&](std::uint8_t symbol) { return present.test(symbol); });
}

HuffmanTable completeTable(const HuffmanTable& table, HuffmanKind kind) {
  if (isComplete(table.symbols, kind)) return table;
  const std::vector<std::uint8_t> needed = neededSymbols(kind);

  // A code of n bits was worth giving to a symbol that occurs about once in 2^n.
  std::vector<std::uint64_t> frequencies(needed.size(), 1);
  std::size_t position = 0;
  for (std::size_t bits = 1; bits <= kMaxBits; ++bits) {
    for (unsigned i = 0; i < table.counts[bits] && position < table.symbols.size(); ++i) {
      const auto at = std::find(needed.begin(), needed.end(), table.symbols[position++]);
      if (at == needed.end()) continue;
      frequencies[static_cast<std::size_t>(at - needed.begin())] = std::uint64_t{1}
                                                                   << (kMaxBits - bits + 1);
    }
  }
  // One more leaf, the rarest, takes the code of all ones, which may not be used.
  frequencies.push_back(0);
  std::vector<std::size_t> lengths = codeLengths(frequencies);
  lengths.pop_back();

  std::vector<std::size_t> counts(std::max(frequencies.size(), kMaxBits) + 1, 0);
  for (const std::size_t length : lengths) ++counts[length];
  // The leaf taken away left its longest code free, which keeps the lengths' arithmetic whole.
  const std::size_t longest = *std::max_element(lengths.begin(), lengths.end());
  ++counts[longest];
  limitLengths(counts);
  std::size_t last = kMaxBits;
  while (counts[last] == 0) --last;
  --counts[last];

  std::vector<std::size_t> order(needed.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return lengths[a] < lengths[b]; });
  HuffmanTable result;
  for (std::size_t bits = 1; bits <= kMaxBits; ++bits) {
    result.counts[bits] = static_cast<std::uint8_t>(counts[bits]);
  }
  for (const std::size_t index : order) result.symbols.push_back(needed[index]);
  return result;
}

}  // namespace kelvo::jpeg
