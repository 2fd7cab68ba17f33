#include <cstddef>
#include <span>
#include <string_view>

#include "platform/image_io/codec.h"
#include "platform/image_io/webp/webp_file.h"
#include "platform/image_io/webp/webp_source.h"
#include "platform/image_io/webp/webp_writer.h"

namespace kelvo {
namespace {

bool matches(std::span<const std::byte> head) {
  if (head.size() < kRiffHeaderBytes) return false;
  const std::string_view text(reinterpret_cast<const char*>(head.data()), kRiffHeaderBytes);
  return text.starts_with("RIFF") && text.ends_with("WEBP");
}

}  // namespace

const Codec kWebpCodec = {.type = "org.webmproject.webp",
                          .displayName = "WebP",
                          .matches = matches,
                          .open = openWebp,
                          .createWriter = createWebpWriter};

}  // namespace kelvo
