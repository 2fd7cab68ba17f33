#pragma once

#include <cstdint>
#include <span>

#include "platform/image_io/jpeg/jpeg_structure.h"

namespace kelvo::jpeg {

enum class HuffmanKind { dc, ac };

// Whether a table has one code for every symbol which 8-bit pictures can need, and none twice.
// libjpeg's encoder does not ask: of a symbol without a code it writes nothing.
bool isComplete(std::span<const std::uint8_t> symbols, HuffmanKind kind);

// A complete table for the same statistics. One that is comes back as it is; else the symbols that
// are missing share the longest codes and the others keep about theirs.
HuffmanTable completeTable(const HuffmanTable& table, HuffmanKind kind);

}  // namespace kelvo::jpeg
