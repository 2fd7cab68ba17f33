#include "platform/foundation/ns_url.h"

#include <filesystem>
#include <string_view>
#include <system_error>

namespace kelvo {
namespace {

constexpr std::string_view kKept =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";

}  // namespace

std::string NSURL::absoluteString() const {
  std::error_code failed;
  const std::filesystem::path absolute = std::filesystem::absolute(path_, failed);
  const std::string& bytes = failed ? path_ : absolute.native();

  std::string text = "file://";
  for (const char byte : bytes) {
    if (kKept.find(byte) != std::string_view::npos) {
      text += byte;
    } else {
      constexpr std::string_view kHex = "0123456789ABCDEF";
      const auto value = static_cast<unsigned char>(byte);
      text += '%';
      text += kHex[value >> 4U];
      text += kHex[value & 15U];
    }
  }
  return text;
}

}  // namespace kelvo
