#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "platform/image_io/codec.h"
#include "platform/image_io/gif/gif_source.h"
#include "platform/image_io/gif/gif_writer.h"

namespace kelvo {
namespace {

bool matches(std::span<const std::byte> head) {
  const auto begins = [&](std::string_view signature) {
    return head.size() >= signature.size() &&
           std::equal(signature.begin(), signature.end(), head.begin(),
                      [](char a, std::byte b) { return std::byte(a) == b; });
  };
  return begins("GIF87a") || begins("GIF89a");
}

}  // namespace

const Codec kGifCodec = {.type = "com.compuserve.gif",
                         .displayName = "GIF",
                         .matches = matches,
                         .open = openGif,
                         .createWriter = createGifWriter};

}  // namespace kelvo
