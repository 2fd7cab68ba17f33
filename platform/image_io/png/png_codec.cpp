#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "platform/image_io/codec.h"

namespace kelvo {
namespace {

constexpr std::array kSignature = {std::byte{0x89}, std::byte{'P'},  std::byte{'N'},
                                   std::byte{'G'},  std::byte{'\r'}, std::byte{'\n'},
                                   std::byte{0x1a}, std::byte{'\n'}};

bool matches(std::span<const std::byte> head) {
  return head.size() >= kSignature.size() &&
         std::equal(kSignature.begin(), kSignature.end(), head.begin());
}

Result<std::unique_ptr<CodecSource>> openPng(FileBytes, const Limits&) {
  return Error{"PNG files cannot be read yet"};
}

}  // namespace

const Codec kPngCodec = {.type = "public.png",
                         .displayName = "PNG",
                         .matches = matches,
                         .open = openPng,
                         .createWriter = nullptr};

}  // namespace kelvo
