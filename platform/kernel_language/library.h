#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "platform/kernel_language/value_type.h"

namespace kelvo::kernel_language {

// The functions that every source may call. Their definitions, component by component where the
// arguments are vectors, each operation rounded by itself in the order written:
//
//   compare(x, a, b)      a where x < 0, else b
//   step(edge, x)         0 where x < edge, else 1
//   clamp(x, low, high)   min(max(x, low), high)
//   mix(a, b, t)          a (1 - t) + b t
//   smoothstep(a, b, x)   t t (3 - 2 t), t = clamp((x - a) / (b - a), 0, 1)
//   dot(a, b)             a.x b.x + a.y b.y + …, from the left
//   length(v)             sqrt(dot(v, v)); of a float its absolute value
//   distance(a, b)        length(a - b)
//   normalize(v)          v / length(v)
//   inversesqrt(x)        1 / sqrt(x)
//   radians, degrees      x times the float nearest to pi / 180, 180 / pi
//   atan(y, x)            the angle of the point (x, y), -pi … pi
//   unpremultiply(p)      colour / alpha, colour 0 where alpha is 0; alpha kept
//   premultiply(p)        colour * alpha; alpha kept
//   samplerCoord(s)       destCoord()
//   samplerTransform(s,p) p: all samplers share one coordinate system
//   samplerExtent(s)      x, y, width, height
//
// min, max, sign, fract, mod and the rest as the instructions of the same name (ir.h).
enum class LibraryFunction : std::uint8_t {
  sample,
  samplerCoord,
  samplerTransform,
  samplerExtent,
  destCoord,
  unpremultiply,
  premultiply,
  compare,
  smoothstep,
  clamp,
  mix,
  min,
  max,
  abs,
  sign,
  floor,
  ceil,
  fract,
  mod,
  step,
  dot,
  length,
  distance,
  normalize,
  sqrt,
  inversesqrt,
  pow,
  exp,
  exp2,
  log,
  log2,
  sin,
  cos,
  tan,
  asin,
  acos,
  atan,
  radians,
  degrees,
};

// One way to call a library function. In `parameters` and `result`: g is float or a vector, the
// same one throughout the signature; f float; 2, 4 the vectors of that size; s a sampler.
struct LibrarySignature {
  LibraryFunction function;
  std::string_view name;
  char result;
  std::string_view parameters;
};

std::span<const LibrarySignature> librarySignatures();

std::string_view libraryName(LibraryFunction function);
bool isLibraryName(std::string_view name);

// What a call with these argument types means.
struct LibraryMatch {
  LibraryFunction function;
  ValueType result;
  std::uint32_t conversions = 0;  // arguments that must be converted from int to float
};
// The best signature of that name, or none.
std::optional<LibraryMatch> matchLibrary(std::string_view name,
                                         std::span<const ValueType> arguments);

}  // namespace kelvo::kernel_language
