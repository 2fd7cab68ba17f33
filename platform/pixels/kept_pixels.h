#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "platform/pixels/cg_image.h"

namespace kelvo {

// Whoever measures a picture before it is adjusted needs the pixels twice. They are kept in memory
// in between if they take at most this much; a larger picture is decoded twice.
constexpr std::uint64_t kMostKeptBytes = 256ULL << 20;

// The same for a process that may take `maxMemoryBytes` in all: at most a quarter of it, because
// decoders and encoders need theirs.
constexpr std::uint64_t keptBytesWithin(std::uint64_t maxMemoryBytes) {
  return maxMemoryBytes / 4 < kMostKeptBytes ? maxMemoryBytes / 4 : kMostKeptBytes;
}

// Reads the picture into memory, a few rows at a time, each strip handed to `change` once it is
// read. Empty if the pixels take more than `mostBytes` or more than there is, or cannot be read,
// and for an indexed picture, which is adjusted by its table without its pixels.
std::optional<CGImage> keepPixels(
    const CGImage& image, std::uint64_t mostBytes,
    const std::function<void(std::span<std::byte>)>& change = [](std::span<std::byte>) {});

}  // namespace kelvo
