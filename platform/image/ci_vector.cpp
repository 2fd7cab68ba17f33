#include "platform/image/ci_vector.h"

#include <charconv>
#include <system_error>

namespace kelvo {

CIVector CIVector::vectorWithString(std::string_view text) {
  std::vector<double> values;
  std::size_t at = text.find_first_not_of(" \t\r\n[");
  while (at != std::string_view::npos) {
    if (text[at] == '+') ++at;  // from_chars takes a minus sign only
    double value = 0;
    const auto [end, error] = std::from_chars(text.data() + at, text.data() + text.size(), value);
    if (error != std::errc{}) break;
    values.push_back(value);
    at = text.find_first_not_of(" \t\r\n,", static_cast<std::size_t>(end - text.data()));
  }
  return CIVector(std::move(values));
}

std::string CIVector::stringRepresentation() const {
  std::string text = "[";
  for (const double value : values_) {
    if (text.size() > 1) text += ' ';
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    text.append(digits, error == std::errc{} ? end : digits);
  }
  return text + "]";
}

}  // namespace kelvo
