#include "platform/kernel_language/value_type.h"

namespace kelvo::kernel_language {

std::string_view typeName(ValueType type) {
  switch (type) {
    case ValueType::nothing:
      return "void";
    case ValueType::floating:
      return "float";
    case ValueType::vec2:
      return "vec2";
    case ValueType::vec3:
      return "vec3";
    case ValueType::vec4:
      return "vec4";
    case ValueType::integer:
      return "int";
    case ValueType::boolean:
      return "bool";
    case ValueType::sampler:
      return "sampler";
  }
  return "";
}

}  // namespace kelvo::kernel_language
