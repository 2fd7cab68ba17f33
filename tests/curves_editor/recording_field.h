#pragma once

#include <string>

#include "curves_editor/value_field.h"
#include "platform/foundation/parameter_value.h"

namespace kelvo::testing {

// A field that remembers what it was told.
class RecordingField final : public ValueField {
 public:
  RecordingField() = default;
  explicit RecordingField(std::string typed) : text(std::move(typed)) {}

  void setStringValue(const std::string& value) override { text = value; }
  [[nodiscard]] int intValue() const override { return kelvo::intValue(text); }
  [[nodiscard]] float floatValue() const override { return kelvo::floatValue(text); }
  void display() override { ++displays; }

  std::string text;
  int displays = 0;
};

}  // namespace kelvo::testing
