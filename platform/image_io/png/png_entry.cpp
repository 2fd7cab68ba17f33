#include <algorithm>
#include <cstddef>
#include <span>

#include "platform/image_io/codec_module.h"
#include "platform/image_io/png/png_file.h"

// All that the main library knows of the format; the rest is loaded with the first such file.
namespace kelvo {
namespace {

constexpr char kModule[] = "kelvo-png";

bool matches(std::span<const std::byte> head) {
  return head.size() >= kPngSignature.size() &&
         std::equal(kPngSignature.begin(), kPngSignature.end(), head.begin());
}

}  // namespace

const Codec kPngCodec = {.type = "public.png",
                         .displayName = "PNG",
                         .matches = &matches,
                         .open = &openByModule<kModule>,
                         .createWriter = &createWriterByModule<kModule>};

}  // namespace kelvo
