#include <algorithm>
#include <cstddef>
#include <span>

#include "platform/image_io/codec.h"
#include "platform/image_io/png/png_file.h"
#include "platform/image_io/png/png_source.h"
#include "platform/image_io/png/png_writer.h"

namespace kelvo {
namespace {

bool matches(std::span<const std::byte> head) {
  return head.size() >= kPngSignature.size() &&
         std::equal(kPngSignature.begin(), kPngSignature.end(), head.begin());
}

}  // namespace

const Codec kPngCodec = {.type = "public.png",
                         .displayName = "PNG",
                         .matches = matches,
                         .open = openPng,
                         .createWriter = createPngWriter};

}  // namespace kelvo
