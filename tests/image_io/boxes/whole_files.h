#pragma once

#include <cstddef>
#include <string>

#include "tests/image_io/tools/codec_calls.h"

namespace kelvo::image_io_test {

// Opens, looks at and decodes whatever it is. Nothing of this may crash.
bool readsWhole(const Codec& codec, const Bytes& file,
                const Limits& limits = {.maxPixels = 1 << 20});

// Of so many versions of the file, in which bytes are others, how many are not read whole. Two of
// three are damaged within the first `reach` bytes.
int damagedVersions(const Codec& codec, const Bytes& file, int versions, std::size_t reach,
                    const Limits& limits = {.maxPixels = 1 << 20});

// No beginning of the file is said to be complete, or may be written.
void expectIncompleteWhenCut(const Codec& codec, const Bytes& file, std::size_t from = 0,
                             std::size_t fraction = 0);

// Why the file cannot be written; empty if it can.
std::string refusal(const Codec& codec, const Bytes& file);

}  // namespace kelvo::image_io_test
