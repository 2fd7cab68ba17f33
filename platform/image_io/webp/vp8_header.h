#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kelvo {

// What the header of a lossy picture (VP8 key frame, RFC 6386 section 9) says about how it was
// encoded.
struct Vp8Header {
  static constexpr std::size_t kSegments = 4;

  // Blocks fall into segments with quantisers of their own; one segment if not segmented.
  bool segmented = false;
  std::array<int, kSegments> quantizer{};    // index of each segment, 0…127, 0 the finest
  std::array<double, kSegments> share{};     // of the blocks, adding up to 1
  std::array<int, kSegments> filterLevel{};  // of the deblocking filter, 0…63
  bool simpleFilter = false;
  int filterSharpness = 0;  // 0…7
  int partitions = 0;       // log2 of how many the coefficients come in, 0…3
  int chromaDcDelta = 0;  // added to the quantiser's index for the means of chroma blocks, -15…15
};

// `bitstream` is the data of the chunk. Where it ends early, the rest reads as zeros.
Vp8Header readVp8Header(std::span<const std::byte> bitstream);

}  // namespace kelvo
