#include <algorithm>
#include <array>

#include "platform/image_io/codec_module.h"

// All that the main library knows of the format; the rest is loaded with the first such file.
namespace kelvo {
namespace jpeg2000 {
namespace {

constexpr char kModule[] = "kelvo-jpeg2000";

constexpr std::array<unsigned char, 4> kCodestream = {0xFF, 0x4F, 0xFF, 0x51};
constexpr std::array<unsigned char, 12> kBoxes = {0,   0,   0,    0x0C, 'j',  'P',
                                                  ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A};

template <std::size_t kCount>
bool startsWith(std::span<const std::byte> head, const std::array<unsigned char, kCount>& start) {
  return head.size() >= kCount &&
         std::equal(start.begin(), start.end(), head.begin(),
                    [](unsigned char a, std::byte b) { return std::byte{a} == b; });
}

bool matches(std::span<const std::byte> head) {
  return startsWith(head, kCodestream) || startsWith(head, kBoxes);
}

}  // namespace
}  // namespace jpeg2000

const Codec kJpeg2000Codec = {.type = "public.jpeg-2000",
                              .displayName = "JPEG 2000",
                              .matches = &jpeg2000::matches,
                              .open = &openByModule<jpeg2000::kModule>,
                              .createWriter = &createWriterByModule<jpeg2000::kModule>};

}  // namespace kelvo
