#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvo {

// Levels in, levels out: a table of 256 for each of three channels.
class LevelTables {
 public:
  using Table = std::array<std::uint8_t, 256>;

  // The table that leaves every level as it is.
  static Table unchanged();

  LevelTables() : LevelTables(unchanged(), unchanged(), unchanged()) {}
  LevelTables(const Table& red, const Table& green, const Table& blue);

  // Looks up pixels of 3 components; `components` (3 or 4) are written, the fourth as 255. Output
  // may be the input's own memory if it has 3.
  void apply(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels,
             std::size_t components) const;
  // The same without vectors.
  void applyPlainly(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels,
                    std::size_t components) const;

  // For the vectors' code.
  struct Channel {
    Table levels{};
    // The table as byte permutations of 16 entries use it: entry 16 k + i is level 16 k + i xor
    // level 16 (k - 1) + i within each half of 128, so that the lookups of all k at and below the
    // level's own add up by xor.
    Table steps{};
    bool changes = false;  // some level is not what it was
    std::size_t like = 0;  // the first channel with this table
  };
  [[nodiscard]] const Channel& channel(std::size_t index) const { return channels_[index]; }

 private:
  std::array<Channel, 3> channels_;
};

}  // namespace kelvo
