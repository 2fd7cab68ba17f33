#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/heif/boxes.h"

namespace kelvo::jxl {

using heif::Box;
using heif::Bytes;
using heif::fourCC;
using heif::FourCC;

constexpr FourCC kWholeCodestream = fourCC("jxlc");
constexpr FourCC kPartOfCodestream = fourCC("jxlp");
constexpr FourCC kCompressedBox = fourCC("brob");
constexpr FourCC kReconstruction = fourCC("jbrd");

// A part begins with its number; the last one is marked.
constexpr std::size_t kPartHeader = 4;
constexpr std::uint32_t kLastPart = 0x80000000U;

// The boxes around a codestream (ISO/IEC 18181-2).
struct Container {
  std::vector<Box> boxes;         // empty: the file is a bare codestream
  Bytes codestream;               // as far as it is there
  std::vector<std::byte> joined;  // where the codestream stands if it came in parts
  SourceStatus status;

  [[nodiscard]] bool has(FourCC type) const;
};

// Parts of more than `mostBytes` are not joined.
Container readContainer(Bytes file,
                        std::uint64_t mostBytes = std::numeric_limits<std::uint64_t>::max());

// What a box is about: its type, or the type of what is compressed in it.
FourCC contentType(const Box& box);

// The content of a compressed box, its size, and a box's payload for a content. Errors: damaged
// data, or content of more than `mostBytes`.
Result<std::vector<std::byte>> decompressed(const Box& box, std::size_t mostBytes);
Result<std::size_t> decompressedSize(const Box& box, std::size_t mostBytes);
Result<std::vector<std::byte>> compressed(FourCC type, Bytes content);

}  // namespace kelvo::jxl
