#pragma once

#include "platform/image_io/jpeg/jpeg_structure.h"

namespace kelvo::jpeg {

enum class HuffmanKind { dc, ac };

// A table for the same statistics that has a code for every symbol which 8-bit pictures can need.
// A table that has them all comes back as it is; else the symbols that are missing share the
// longest codes and the others keep about theirs.
HuffmanTable completeTable(const HuffmanTable& table, HuffmanKind kind);

}  // namespace kelvo::jpeg
