#pragma once

#include <cstdint>

#include "platform/image_io/heif/boxes.h"

namespace kelvo::jxl {

// How a picture was coded, as far as an encoder can be told to do the same.
struct Coding {
  bool lossless = true;
  float distance = 1;  // of a lossy one: libjxl's measure, 1 is barely visible
};

// What the first frame tells. `frame` begins at its header, `sections` behind its table of
// contents; both may be empty if they could not be found. `xyb`: the colours are coded in the
// format's own colour space, which is never lossless.
Coding findCoding(heif::Bytes frame, heif::Bytes sections, bool xyb);

}  // namespace kelvo::jxl
