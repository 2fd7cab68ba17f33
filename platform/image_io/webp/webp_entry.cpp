#include <cstddef>
#include <span>
#include <string_view>

#include "platform/image_io/codec_module.h"
#include "platform/image_io/webp/webp_file.h"

// All that the main library knows of the format; the rest is loaded with the first such file.
namespace kelvo {
namespace {

constexpr char kModule[] = "kelvo-webp";

bool matches(std::span<const std::byte> head) {
  if (head.size() < kRiffHeaderBytes) return false;
  const std::string_view text(reinterpret_cast<const char*>(head.data()), kRiffHeaderBytes);
  return text.starts_with("RIFF") && text.ends_with("WEBP");
}

}  // namespace

const Codec kWebpCodec = {.type = "org.webmproject.webp",
                          .displayName = "WebP",
                          .matches = &matches,
                          .open = &openByModule<kModule>,
                          .createWriter = &createWriterByModule<kModule>};

}  // namespace kelvo
