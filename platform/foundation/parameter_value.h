#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

namespace kelvo {

// Readings of text as a number, the same whatever the user's locale is. Leading white space is
// passed over, text after the number is ignored, text without a number reads as 0.
// intValue: optional sign and decimal digits; limited to the range of int.
// doubleValue: decimal with fraction and exponent; beyond the range it is an infinity, below it 0;
// no names ("inf", "nan"), no hexadecimal.
int intValue(std::string_view text);
double doubleValue(std::string_view text);
float floatValue(std::string_view text);  // the double, rounded to single precision

// A value in the action parameters: text or a number object.
class ParameterValue {
 public:
  ParameterValue(std::string text) : value_(std::move(text)) {}
  ParameterValue(const char* text) : value_(std::string(text)) {}
  ParameterValue(double number) : value_(number) {}
  ParameterValue(std::int64_t number) : value_(number) {}
  ParameterValue(bool number) : value_(std::int64_t{number}) {}

  [[nodiscard]] int intValue() const;  // numbers truncate towards zero, limited to int's range
  [[nodiscard]] double doubleValue() const;
  [[nodiscard]] float floatValue() const;
  // The text, or the number in decimal ("%d"; "%g" with enough digits to read back the same).
  [[nodiscard]] std::string stringValue() const;
  // As it was given, for whoever stores or sends it.
  [[nodiscard]] const std::variant<std::string, double, std::int64_t>& stored() const {
    return value_;
  }

  friend bool operator==(const ParameterValue&, const ParameterValue&) = default;

 private:
  std::variant<std::string, double, std::int64_t> value_;
};

// The action parameters: one flat dictionary. An absent key reads as 0.
class ParameterDictionary {
 public:
  void setObject_forKey(ParameterValue value, std::string key);
  [[nodiscard]] const ParameterValue* objectForKey(std::string_view key) const;
  [[nodiscard]] int intValue(std::string_view key) const;
  [[nodiscard]] double doubleValue(std::string_view key) const;
  [[nodiscard]] std::string stringValue(std::string_view key) const;  // absent: empty

  [[nodiscard]] const std::map<std::string, ParameterValue, std::less<>>& all() const {
    return values_;
  }
  friend bool operator==(const ParameterDictionary&, const ParameterDictionary&) = default;

 private:
  std::map<std::string, ParameterValue, std::less<>> values_;
};

// The parameters of one action: one dictionary that the host, the settings panel and the curves
// object share.
using ActionParameters = std::shared_ptr<ParameterDictionary>;

}  // namespace kelvo
