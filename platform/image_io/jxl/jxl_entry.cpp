#include <algorithm>
#include <array>

#include "platform/image_io/codec_module.h"

// All that the main library knows of the format; the rest is loaded with the first such file.
namespace kelvo {
namespace jxl {
namespace {

constexpr char kModule[] = "kelvo-jxl";

constexpr std::array<unsigned char, 2> kCodestream = {0xFF, 0x0A};
constexpr std::array<unsigned char, 12> kContainer = {0,   0,   0,    0x0C, 'J',  'X',
                                                      'L', ' ', 0x0D, 0x0A, 0x87, 0x0A};

template <std::size_t kCount>
bool startsWith(std::span<const std::byte> head, const std::array<unsigned char, kCount>& start) {
  return head.size() >= kCount &&
         std::equal(start.begin(), start.end(), head.begin(),
                    [](unsigned char a, std::byte b) { return std::byte{a} == b; });
}

bool matches(std::span<const std::byte> head) {
  return startsWith(head, kCodestream) || startsWith(head, kContainer);
}

}  // namespace
}  // namespace jxl

const Codec kJxlCodec = {.type = "public.jpeg-xl",
                         .displayName = "JPEG XL",
                         .matches = &jxl::matches,
                         .open = &openByModule<jxl::kModule>,
                         .createWriter = &createWriterByModule<jxl::kModule>};

}  // namespace kelvo
