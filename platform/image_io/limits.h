#pragma once

#include <cstdint>

namespace kelvo {

constexpr std::uint64_t kDefaultMaxPixels = 1'000'000'000;    // of one frame
constexpr std::uint64_t kDefaultMaxFrames = 10'000;           // of one file
constexpr std::uint64_t kDefaultMaxMemoryBytes = 4ULL << 30;  // of all workers together

// What an untrusted file may ask for. Codecs check pixels and frames before they allocate anything
// that grows with them, and memory before a decoder's own working memory (progressive JPEG,
// interlaced PNG) grows past it.
struct Limits {
  std::uint64_t maxPixels = kDefaultMaxPixels;
  std::uint64_t maxFrames = kDefaultMaxFrames;
  std::uint64_t maxMemoryBytes = kDefaultMaxMemoryBytes;  // this process's share
  unsigned threads = 1;  // processors that reading one file may keep busy, its own thread included
};

}  // namespace kelvo
