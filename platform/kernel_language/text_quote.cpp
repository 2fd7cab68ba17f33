#include "platform/kernel_language/text_quote.h"

namespace kelvo::kernel_language {
namespace {
constexpr std::size_t kLongest = 40;
constexpr std::string_view kHexDigits = "0123456789abcdef";
}  // namespace

std::string quote(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text.substr(0, kLongest)) {
    if (c >= ' ' && c <= '~') {
      quoted += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      quoted += '<';
      quoted += kHexDigits[byte >> 4U];
      quoted += kHexDigits[byte & 15U];
      quoted += '>';
    }
  }
  if (text.size() > kLongest) quoted += "...";
  return quoted + "'";
}

}  // namespace kelvo::kernel_language
