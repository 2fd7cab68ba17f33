#include <algorithm>
#include <array>

#include "platform/image_io/codec_module.h"

// All that the main library knows of the format; the rest is loaded with the first such file.
namespace kelvo {
namespace jpeg2000 {
namespace {

constexpr const char* kModule = "kelvo-jpeg2000";

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

Result<std::unique_ptr<CodecSource>> open(FileBytes file, const Limits& limits) {
  const auto module = loadCodecModule(kModule);
  if (!module) return module.error();
  return (*module)->open(std::move(file), limits);
}

Result<std::unique_ptr<CodecWriter>> createWriter(OutputFile& file, std::size_t frames,
                                                  const EncodeOptions& options) {
  const auto module = loadCodecModule(kModule);
  if (!module) return module.error();
  return (*module)->createWriter(file, frames, options);
}

}  // namespace
}  // namespace jpeg2000

const Codec kJpeg2000Codec = {.type = "public.jpeg-2000",
                              .displayName = "JPEG 2000",
                              .matches = &jpeg2000::matches,
                              .open = &jpeg2000::open,
                              .createWriter = &jpeg2000::createWriter};

}  // namespace kelvo
