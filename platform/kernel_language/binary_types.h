#pragma once

#include <optional>

#include "platform/kernel_language/operators.h"
#include "platform/kernel_language/value_type.h"

namespace kelvo::kernel_language {

// The types that a binary operator works on and gives. An int operand beside a floating one is
// converted first.
struct BinaryTypes {
  ValueType left;
  ValueType right;
  ValueType result;
};

// None if the operator cannot combine these types.
std::optional<BinaryTypes> binaryTypes(BinaryOperator op, ValueType left, ValueType right);

}  // namespace kelvo::kernel_language
