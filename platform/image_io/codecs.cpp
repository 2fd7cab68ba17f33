#include <array>

#include "platform/image_io/codec.h"

namespace kelvo {

std::span<const Codec> codecs() {
  // Each has a signature of its own, so the order matters to speed alone.
  static const std::array known = {kJpegCodec,     kPngCodec,  kTiffCodec,     kWebpCodec,
                                   kGifCodec,      kHeicCodec, kAvifCodec,     kJxlCodec,
                                   kJpeg2000Codec, kBmpCodec,  kPhotoshopCodec};
  return known;
}

}  // namespace kelvo
