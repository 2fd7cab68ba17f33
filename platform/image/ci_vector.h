#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo {

// A short list of numbers, as filters take them.
class CIVector {
 public:
  CIVector() = default;
  explicit CIVector(std::vector<double> values) : values_(std::move(values)) {}

  static CIVector vectorWithX(double x) { return CIVector({x}); }
  static CIVector vectorWithX_Y(double x, double y) { return CIVector({x, y}); }
  static CIVector vectorWithX_Y_Z(double x, double y, double z) { return CIVector({x, y, z}); }
  static CIVector vectorWithX_Y_Z_W(double x, double y, double z, double w) {
    return CIVector({x, y, z, w});
  }
  // "[1 0.5 0 0]": numbers between white space or commas, brackets optional. Reading ends at the
  // first thing that is no number. Independent of the user's locale.
  static CIVector vectorWithString(std::string_view text);

  [[nodiscard]] std::size_t count() const { return values_.size(); }
  // A component that is not there is 0.
  [[nodiscard]] double valueAtIndex(std::size_t index) const {
    return index < values_.size() ? values_[index] : 0.0;
  }
  [[nodiscard]] double X() const { return valueAtIndex(0); }
  [[nodiscard]] double Y() const { return valueAtIndex(1); }
  [[nodiscard]] double Z() const { return valueAtIndex(2); }
  [[nodiscard]] double W() const { return valueAtIndex(3); }
  // "[1 0.5 0 0]", with as many digits as it takes to read the same numbers back.
  [[nodiscard]] std::string stringRepresentation() const;

  friend bool operator==(const CIVector&, const CIVector&) = default;

 private:
  std::vector<double> values_;
};

}  // namespace kelvo
