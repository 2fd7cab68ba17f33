#include "platform/foundation/text_format.h"

#include <array>
#include <charconv>
#include <limits>

namespace kelvo {

std::string formatF(double value) {
  constexpr int kDecimals = 6;
  // Sign, all integer digits of the largest double, point, decimals.
  std::array<char, std::numeric_limits<double>::max_exponent10 + 4 + kDecimals> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                 std::chars_format::fixed, kDecimals);
  return {text.data(), end.ptr};
}

}  // namespace kelvo
