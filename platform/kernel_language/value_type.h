#pragma once

#include <cstdint>
#include <string_view>

namespace kelvo::kernel_language {

// The types of the language. `nothing` is the result of a void function.
enum class ValueType : std::uint8_t {
  nothing,
  floating,
  vec2,
  vec3,
  vec4,
  integer,
  boolean,
  sampler,
};

std::string_view typeName(ValueType type);

constexpr bool isVector(ValueType type) {
  return type == ValueType::vec2 || type == ValueType::vec3 || type == ValueType::vec4;
}

// float or a vector of floats.
constexpr bool isFloating(ValueType type) { return type == ValueType::floating || isVector(type); }

constexpr bool isScalar(ValueType type) {
  return type == ValueType::floating || type == ValueType::integer || type == ValueType::boolean;
}

// 1 for scalars and samplers, 0 for nothing.
constexpr std::uint32_t componentCount(ValueType type) {
  switch (type) {
    case ValueType::nothing:
      return 0;
    case ValueType::vec2:
      return 2;
    case ValueType::vec3:
      return 3;
    case ValueType::vec4:
      return 4;
    default:
      return 1;
  }
}

// float for 1, the vectors for 2 to 4.
constexpr ValueType floatingType(std::uint32_t components) {
  switch (components) {
    case 2:
      return ValueType::vec2;
    case 3:
      return ValueType::vec3;
    case 4:
      return ValueType::vec4;
    default:
      return ValueType::floating;
  }
}

}  // namespace kelvo::kernel_language
