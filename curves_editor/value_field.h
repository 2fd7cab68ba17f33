#pragma once

#include <string>

namespace kelvo {

// A text field beside the curves view that shows and takes one coordinate of the selected point.
class ValueField {
 public:
  virtual ~ValueField() = default;

  virtual void setStringValue(const std::string& value) = 0;
  // The number that the text begins with; 0 if there is none.
  [[nodiscard]] virtual int intValue() const = 0;
  [[nodiscard]] virtual float floatValue() const = 0;
  // Paints the field now.
  virtual void display() = 0;
};

}  // namespace kelvo
