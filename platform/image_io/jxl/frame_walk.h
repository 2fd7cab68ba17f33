#pragma once

#include <jxl/codestream_header.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/heif/boxes.h"

namespace kelvo::jxl {

// Frames that are no pictures but what pictures refer to. The library tells nothing of them, and
// makes room for them when it decodes the next picture.
struct HiddenFrames {
  std::size_t count = 0;
  std::uint64_t largest = 0;  // in pixels
};

// Goes through the headers of all frames. `frames` begins at the first one; `sections` are the
// places in it, told by the library, where the data of each picture begin. Errors: the two do not
// agree, or the length of a frame that others follow cannot be told.
Result<HiddenFrames> findHiddenFrames(heif::Bytes frames, const JxlBasicInfo& info,
                                      const std::vector<std::size_t>& sections);

}  // namespace kelvo::jxl
