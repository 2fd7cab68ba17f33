#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/image_io/jpeg2000/codestream.h"

namespace kelvo::jpeg2000 {

// Joins codestreams of single tiles, which come in their order, into one with the old one's size,
// profile, tiles and kept segments in its main header.
class TileJoiner {
 public:
  // `old` outlives it.
  explicit TileJoiner(const Codestream& old) : old_(old) {}

  Result<void> add(Bytes tile);
  [[nodiscard]] std::vector<std::byte> finish() const;

 private:
  void takeHeader(Bytes header);

  const Codestream& old_;
  std::vector<std::byte> header_;
  std::vector<std::byte> tiles_;
  std::vector<std::uint32_t> lengths_;  // of each tile
};

}  // namespace kelvo::jpeg2000
