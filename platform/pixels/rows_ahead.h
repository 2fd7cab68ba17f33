#pragma once

#include <memory>

#include "platform/foundation/result.h"
#include "platform/pixels/cg_image.h"

namespace kelvo {

// Starts a pass over the image's rows like image.openRows(), but with two `threads` or more, and a
// picture that is worth it, a thread of its own produces them: a few strips ahead of the caller,
// who adjusts, encodes or counts meanwhile. The rows, and the error after which there are none, are
// the same. Memory is bounded by some strips of 16 rows; the thread is gone with the source.
Result<std::unique_ptr<RowSource>> openRowsAhead(const CGImage& image, unsigned threads);

}  // namespace kelvo
