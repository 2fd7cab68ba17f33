#pragma once

#include <optional>

#include "platform/image_io/tiff/file_rewriter.h"

namespace kelvo::tiff {

// The value of an entry of a 16-bit frame when the frame is written with 8 bits: sizes, sample
// limits and tables that count or hold samples. Nothing if the entry stays as it is.
std::optional<NewValue> eightBitValue(const View& view, const Entry& entry);

}  // namespace kelvo::tiff
