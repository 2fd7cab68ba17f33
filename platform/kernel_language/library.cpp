#include "platform/kernel_language/library.h"

#include <algorithm>
#include <array>

namespace kelvo::kernel_language {
namespace {

using enum LibraryFunction;

constexpr auto kSignatures = std::to_array<LibrarySignature>({
    {sample, "sample", '4', "s2"},
    {samplerCoord, "samplerCoord", '2', "s"},
    {samplerTransform, "samplerTransform", '2', "s2"},
    {samplerExtent, "samplerExtent", '4', "s"},
    {destCoord, "destCoord", '2', ""},
    {unpremultiply, "unpremultiply", '4', "4"},
    {premultiply, "premultiply", '4', "4"},
    {compare, "compare", 'g', "ggg"},
    {smoothstep, "smoothstep", 'g', "ggg"},
    {smoothstep, "smoothstep", 'g', "ffg"},
    {clamp, "clamp", 'g', "ggg"},
    {clamp, "clamp", 'g', "gff"},
    {mix, "mix", 'g', "ggg"},
    {mix, "mix", 'g', "ggf"},
    {min, "min", 'g', "gg"},
    {min, "min", 'g', "gf"},
    {max, "max", 'g', "gg"},
    {max, "max", 'g', "gf"},
    {abs, "abs", 'g', "g"},
    {sign, "sign", 'g', "g"},
    {floor, "floor", 'g', "g"},
    {ceil, "ceil", 'g', "g"},
    {fract, "fract", 'g', "g"},
    {mod, "mod", 'g', "gg"},
    {mod, "mod", 'g', "gf"},
    {step, "step", 'g', "gg"},
    {step, "step", 'g', "fg"},
    {dot, "dot", 'f', "gg"},
    {length, "length", 'f', "g"},
    {distance, "distance", 'f', "gg"},
    {normalize, "normalize", 'g', "g"},
    {sqrt, "sqrt", 'g', "g"},
    {inversesqrt, "inversesqrt", 'g', "g"},
    {pow, "pow", 'g', "gg"},
    {exp, "exp", 'g', "g"},
    {exp2, "exp2", 'g', "g"},
    {log, "log", 'g', "g"},
    {log2, "log2", 'g', "g"},
    {sin, "sin", 'g', "g"},
    {cos, "cos", 'g', "g"},
    {tan, "tan", 'g', "g"},
    {asin, "asin", 'g', "g"},
    {acos, "acos", 'g', "g"},
    {atan, "atan", 'g', "g"},
    {atan, "atan", 'g', "gg"},
    {radians, "radians", 'g', "g"},
    {degrees, "degrees", 'g', "g"},
});

ValueType fixedType(char code) {
  switch (code) {
    case '2':
      return ValueType::vec2;
    case '4':
      return ValueType::vec4;
    case 's':
      return ValueType::sampler;
    default:
      return ValueType::floating;
  }
}

std::optional<LibraryMatch> match(const LibrarySignature& signature,
                                  std::span<const ValueType> arguments) {
  if (arguments.size() != signature.parameters.size()) return std::nullopt;
  std::optional<ValueType> generic;
  std::uint32_t conversions = 0;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    ValueType given = arguments[i];
    const char code = signature.parameters[i];
    if (given == ValueType::integer) {
      given = ValueType::floating;
      ++conversions;
    }
    if (code == 'g') {
      if (!isFloating(given) || generic.value_or(given) != given) return std::nullopt;
      generic = given;
    } else if (given != fixedType(code)) {
      return std::nullopt;
    }
  }
  const ValueType result =
      signature.result == 'g' ? generic.value_or(ValueType::floating) : fixedType(signature.result);
  return LibraryMatch{signature.function, result, conversions};
}

}  // namespace

std::span<const LibrarySignature> librarySignatures() { return kSignatures; }

std::string_view libraryName(LibraryFunction function) {
  const auto* const found = std::find_if(
      kSignatures.begin(), kSignatures.end(),
      [&](const LibrarySignature& signature) { return signature.function == function; });
  return found == kSignatures.end() ? std::string_view() : found->name;
}

bool isLibraryName(std::string_view name) {
  return std::any_of(kSignatures.begin(), kSignatures.end(),
                     [&](const LibrarySignature& signature) { return signature.name == name; });
}

std::optional<LibraryMatch> matchLibrary(std::string_view name,
                                         std::span<const ValueType> arguments) {
  for (const LibrarySignature& signature : kSignatures) {
    if (signature.name != name) continue;
    if (std::optional<LibraryMatch> found = match(signature, arguments)) return found;
  }
  return std::nullopt;
}

}  // namespace kelvo::kernel_language
