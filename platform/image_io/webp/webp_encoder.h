#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/webp/webp_file.h"
#include "platform/pixels/cg_image.h"

namespace kelvo {

// The data of the chunks that a picture is made of.
struct EncodedWebp {
  std::vector<std::byte> colors;
  std::optional<std::vector<std::byte>> alpha;  // of a lossy picture that is not opaque
};

// Encodes a picture the way `old` is: lossless if that is, else about as well. `image` has 3
// components, or 4 premultiplied ones where `old` has an alpha. Transparent pixels of a lossless
// picture get colour 0; those of a lossy one have no colour that could be relied on.
// The result does not depend on `threads`.
Result<EncodedWebp> encodeWebp(const CGImage& image, const WebpFrame& old, unsigned threads);

}  // namespace kelvo
