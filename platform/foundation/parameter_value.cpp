#include "platform/foundation/parameter_value.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace kelvo {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view withoutLeadingSpace(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  return start == std::string_view::npos ? std::string_view{} : text.substr(start);
}

// Takes a sign off the front; true if it was a minus.
bool takeSign(std::string_view& text) {
  if (text.empty() || (text.front() != '-' && text.front() != '+')) {
    return false;
  }
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  return negative;
}

int limitedToInt(double number) {
  if (std::isnan(number)) {
    return 0;
  }
  constexpr double kLowest = std::numeric_limits<int>::min();
  constexpr double kHighest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(std::trunc(number), kLowest, kHighest));
}

// Whether a number that no double can hold, given by its digits (no sign, not all zeros), is too
// large rather than too small: the decimal exponent of its first digit that is not 0 tells.
bool isTooLarge(std::string_view digits) {
  constexpr long long kFar = 1'000'000'000'000;
  const std::size_t mark = digits.find_first_of("eE");
  const std::string_view mantissa = digits.substr(0, mark);
  long long exponent = 0;
  if (mark != std::string_view::npos) {
    std::string_view text = digits.substr(mark + 1);
    const bool negative = takeSign(text);
    for (const char c : text) {
      exponent = std::min(kFar, exponent * 10 + (c - '0'));
    }
    exponent = negative ? -exponent : exponent;
  }
  const auto point = static_cast<long long>(std::min(mantissa.find('.'), mantissa.size()));
  const auto first =
      static_cast<long long>(std::min(mantissa.find_first_of("123456789"), mantissa.size()));
  return point - first + exponent > 0;
}

}  // namespace

int intValue(std::string_view text) {
  std::string_view digits = withoutLeadingSpace(text);
  const bool negative = takeSign(digits);
  constexpr std::int64_t kHighest = std::numeric_limits<int>::max();
  std::int64_t number = 0;
  for (const char c : digits) {
    if (!isDigit(c)) {
      break;
    }
    number = std::min(kHighest + 1, number * 10 + (c - '0'));
  }
  return static_cast<int>(negative ? -number : std::min(kHighest, number));
}

double doubleValue(std::string_view text) {
  std::string_view digits = withoutLeadingSpace(text);
  const bool negative = takeSign(digits);
  // A second sign and the names of infinity and of what is not a number are no numbers here.
  if (digits.empty() || (!isDigit(digits.front()) && digits.front() != '.')) {
    return 0.0;
  }
  double number = 0.0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (read.ec == std::errc::invalid_argument) {
    return 0.0;
  }
  if (read.ec == std::errc::result_out_of_range) {
    const auto length = static_cast<std::size_t>(read.ptr - digits.data());
    number = isTooLarge(digits.substr(0, length)) ? std::numeric_limits<double>::infinity() : 0.0;
  }
  return negative ? -number : number;
}

float floatValue(std::string_view text) { return static_cast<float>(doubleValue(text)); }

int ParameterValue::intValue() const {
  if (const auto* text = std::get_if<std::string>(&value_)) {
    return kelvo::intValue(*text);
  }
  if (const auto* number = std::get_if<double>(&value_)) {
    return limitedToInt(*number);
  }
  constexpr std::int64_t kLowest = std::numeric_limits<int>::min();
  constexpr std::int64_t kHighest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(*std::get_if<std::int64_t>(&value_), kLowest, kHighest));
}

double ParameterValue::doubleValue() const {
  if (const auto* text = std::get_if<std::string>(&value_)) {
    return kelvo::doubleValue(*text);
  }
  if (const auto* number = std::get_if<double>(&value_)) {
    return *number;
  }
  return static_cast<double>(*std::get_if<std::int64_t>(&value_));
}

float ParameterValue::floatValue() const { return static_cast<float>(doubleValue()); }

std::string ParameterValue::stringValue() const {
  if (const auto* text = std::get_if<std::string>(&value_)) {
    return *text;
  }
  std::array<char, 32> digits{};
  char* const end = digits.data() + digits.size();
  if (const auto* number = std::get_if<double>(&value_)) {
    return {digits.data(),
            std::to_chars(digits.data(), end, *number, std::chars_format::general).ptr};
  }
  return {digits.data(),
          std::to_chars(digits.data(), end, *std::get_if<std::int64_t>(&value_)).ptr};
}

void ParameterDictionary::setObject_forKey(ParameterValue value, std::string key) {
  values_.insert_or_assign(std::move(key), std::move(value));
}

const ParameterValue* ParameterDictionary::objectForKey(std::string_view key) const {
  const auto found = values_.find(key);
  return found == values_.end() ? nullptr : &found->second;
}

int ParameterDictionary::intValue(std::string_view key) const {
  const ParameterValue* value = objectForKey(key);
  return value != nullptr ? value->intValue() : 0;
}

double ParameterDictionary::doubleValue(std::string_view key) const {
  const ParameterValue* value = objectForKey(key);
  return value != nullptr ? value->doubleValue() : 0.0;
}

std::string ParameterDictionary::stringValue(std::string_view key) const {
  const ParameterValue* value = objectForKey(key);
  return value != nullptr ? value->stringValue() : std::string{};
}

}  // namespace kelvo
