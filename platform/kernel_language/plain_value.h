#pragma once

#include <array>
#include <cstdint>

#include "platform/kernel_language/operators.h"
#include "platform/kernel_language/value_type.h"

namespace kelvo::kernel_language {

// A value as the plain evaluator holds it.
struct PlainValue {
  ValueType type = ValueType::nothing;
  std::array<float, 4> numbers{};  // of floating types
  std::int32_t whole = 0;          // of int
  bool truth = false;              // of bool
  std::size_t sampler = 0;         // the kernel's parameter, of samplers

  // A float stands for all components of a vector beside it.
  [[nodiscard]] float number(std::uint32_t index) const {
    return numbers[isVector(type) ? index : 0];
  }

  static PlainValue of(float number);
  static PlainValue of(std::int32_t whole);
  static PlainValue of(bool truth);
};

PlainValue plainBinary(BinaryOperator op, const PlainValue& left, const PlainValue& right);
PlainValue plainNegate(const PlainValue& operand);
PlainValue plainConversion(const PlainValue& operand, ValueType type);

}  // namespace kelvo::kernel_language
