#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvo {

// How often each of 256 levels occurs. Counts in four tables by turns: neighbours in a picture are
// mostly alike, and a count can be raised again only after the last time has been stored.
class LevelCounter {
 public:
  using Counts = std::array<std::uint64_t, 256>;

  // Counts levelOf(0) … levelOf(pixels - 1), each a std::uint8_t.
  template <class LevelOf>
  void add(std::size_t pixels, const LevelOf& levelOf) {
    std::size_t i = 0;
    for (; i + 4 <= pixels; i += 4) {
      ++tables_[0][levelOf(i)];
      ++tables_[1][levelOf(i + 1)];
      ++tables_[2][levelOf(i + 2)];
      ++tables_[3][levelOf(i + 3)];
    }
    for (; i < pixels; ++i) ++tables_[0][levelOf(i)];
  }

  [[nodiscard]] Counts counts() const {
    Counts sums = tables_[0];
    for (std::size_t table = 1; table < tables_.size(); ++table) {
      for (std::size_t level = 0; level < sums.size(); ++level)
        sums[level] += tables_[table][level];
    }
    return sums;
  }

 private:
  std::array<Counts, 4> tables_{};
};

}  // namespace kelvo
