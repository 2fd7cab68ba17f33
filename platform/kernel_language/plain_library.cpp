#include "platform/kernel_language/plain_library.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kelvo::kernel_language {
namespace {

using Values = std::span<const PlainValue>;

float minimum(float a, float b) { return b < a ? b : a; }
float maximum(float a, float b) { return a < b ? b : a; }
float limited(float x, float low, float high) { return minimum(maximum(x, low), high); }

float signOf(float x) {
  if (x > 0.0F) return 1.0F;
  if (x < 0.0F) return -1.0F;
  return 0.0F;
}

float modulo(float a, float b) {
  const float quotient = a / b;
  const float whole = b * std::floor(quotient);
  return a - whole;
}

float mixed(float a, float b, float t) {
  const float rest = 1.0F - t;
  const float first = a * rest;
  const float second = b * t;
  return first + second;
}

float smooth(float low, float high, float x) {
  const float offset = x - low;
  const float width = high - low;
  const float t = limited(offset / width, 0.0F, 1.0F);
  const float twice = 2.0F * t;
  const float square = t * t;
  return square * (3.0F - twice);
}

float dotProduct(const PlainValue& a, const PlainValue& b) {
  float sum = a.numbers[0] * b.numbers[0];
  for (std::uint32_t i = 1; i < componentCount(a.type); ++i) {
    const float product = a.numbers[i] * b.numbers[i];
    sum = sum + product;
  }
  return sum;
}

float lengthOf(const PlainValue& v) {
  return isVector(v.type) ? std::sqrt(dotProduct(v, v)) : std::fabs(v.numbers[0]);
}

// Computed in double precision and rounded once.
template <typename Function>
float rounded(Function function, float x) {
  return static_cast<float>(function(static_cast<double>(x)));
}

// One function of floats for every component; a float among vectors acts on each of them.
template <typename Function>
PlainValue each(Values arguments, Function function) {
  PlainValue result;
  result.type = ValueType::floating;
  for (const PlainValue& argument : arguments) {
    if (isVector(argument.type)) result.type = argument.type;
  }
  for (std::uint32_t i = 0; i < componentCount(result.type); ++i) {
    std::array<float, 3> x{};
    for (std::size_t k = 0; k < arguments.size(); ++k) x[k] = arguments[k].number(i);
    result.numbers[i] = function(x);
  }
  return result;
}

PlainValue vectorOf(ValueType type, std::array<float, 4> numbers) {
  PlainValue result;
  result.type = type;
  result.numbers = numbers;
  return result;
}

PlainValue sampled(const PlainValue& sampler, const PlainValue& at,
                   const PlainPixelContext& context) {
  std::array<float, 4> pixel{};
  if (context.sampleAt) pixel = context.sampleAt(sampler.sampler, at.numbers[0], at.numbers[1]);
  return vectorOf(ValueType::vec4, pixel);
}

PlainValue unpremultiplied(PlainValue pixel) {
  const float alpha = pixel.numbers[3];
  for (std::size_t i = 0; i < 3; ++i) {
    pixel.numbers[i] = alpha == 0.0F ? 0.0F : pixel.numbers[i] / alpha;
  }
  return pixel;
}

PlainValue premultiplied(PlainValue pixel) {
  for (std::size_t i = 0; i < 3; ++i) pixel.numbers[i] *= pixel.numbers[3];
  return pixel;
}

}  // namespace

PlainValue plainLibraryCall(LibraryFunction function, Values arguments,
                            const PlainPixelContext& context) {
  using Numbers = const std::array<float, 3>&;
  switch (function) {
    case LibraryFunction::sample:
      return sampled(arguments[0], arguments[1], context);
    case LibraryFunction::samplerCoord:
    case LibraryFunction::destCoord:
      return vectorOf(ValueType::vec2, {context.destination[0], context.destination[1], 0, 0});
    case LibraryFunction::samplerTransform:
      return arguments[1];
    case LibraryFunction::samplerExtent: {
      const std::size_t index = arguments[0].sampler;
      const bool known = index < context.extents.size();
      return vectorOf(ValueType::vec4, known ? context.extents[index] : std::array<float, 4>{});
    }
    case LibraryFunction::unpremultiply:
      return unpremultiplied(arguments[0]);
    case LibraryFunction::premultiply:
      return premultiplied(arguments[0]);
    case LibraryFunction::compare:
      return each(arguments, [](Numbers x) { return x[0] < 0.0F ? x[1] : x[2]; });
    case LibraryFunction::smoothstep:
      return each(arguments, [](Numbers x) { return smooth(x[0], x[1], x[2]); });
    case LibraryFunction::clamp:
      return each(arguments, [](Numbers x) { return limited(x[0], x[1], x[2]); });
    case LibraryFunction::mix:
      return each(arguments, [](Numbers x) { return mixed(x[0], x[1], x[2]); });
    case LibraryFunction::min:
      return each(arguments, [](Numbers x) { return minimum(x[0], x[1]); });
    case LibraryFunction::max:
      return each(arguments, [](Numbers x) { return maximum(x[0], x[1]); });
    case LibraryFunction::abs:
      return each(arguments, [](Numbers x) { return std::fabs(x[0]); });
    case LibraryFunction::sign:
      return each(arguments, [](Numbers x) { return signOf(x[0]); });
    case LibraryFunction::floor:
      return each(arguments, [](Numbers x) { return std::floor(x[0]); });
    case LibraryFunction::ceil:
      return each(arguments, [](Numbers x) { return std::ceil(x[0]); });
    case LibraryFunction::fract:
      return each(arguments, [](Numbers x) { return x[0] - std::floor(x[0]); });
    case LibraryFunction::mod:
      return each(arguments, [](Numbers x) { return modulo(x[0], x[1]); });
    case LibraryFunction::step:
      return each(arguments, [](Numbers x) { return x[1] < x[0] ? 0.0F : 1.0F; });
    case LibraryFunction::dot:
      return PlainValue::of(dotProduct(arguments[0], arguments[1]));
    case LibraryFunction::length:
      return PlainValue::of(lengthOf(arguments[0]));
    case LibraryFunction::distance:
      return PlainValue::of(lengthOf(each(arguments, [](Numbers x) { return x[0] - x[1]; })));
    case LibraryFunction::normalize: {
      const float size = lengthOf(arguments[0]);
      return each(arguments, [size](Numbers x) { return x[0] / size; });
    }
    case LibraryFunction::sqrt:
      return each(arguments, [](Numbers x) { return std::sqrt(x[0]); });
    case LibraryFunction::inversesqrt:
      return each(arguments, [](Numbers x) { return 1.0F / std::sqrt(x[0]); });
    case LibraryFunction::pow:
      return each(arguments, [](Numbers x) {
        return static_cast<float>(std::pow(static_cast<double>(x[0]), static_cast<double>(x[1])));
      });
    case LibraryFunction::exp:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::exp(v); }, x[0]); });
    case LibraryFunction::exp2:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::exp2(v); }, x[0]); });
    case LibraryFunction::log:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::log(v); }, x[0]); });
    case LibraryFunction::log2:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::log2(v); }, x[0]); });
    case LibraryFunction::sin:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::sin(v); }, x[0]); });
    case LibraryFunction::cos:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::cos(v); }, x[0]); });
    case LibraryFunction::tan:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::tan(v); }, x[0]); });
    case LibraryFunction::asin:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::asin(v); }, x[0]); });
    case LibraryFunction::acos:
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::acos(v); }, x[0]); });
    case LibraryFunction::atan:
      if (arguments.size() == 2) {
        return each(arguments, [](Numbers x) {
          return static_cast<float>(
              std::atan2(static_cast<double>(x[0]), static_cast<double>(x[1])));
        });
      }
      return each(arguments,
                  [](Numbers x) { return rounded([](double v) { return std::atan(v); }, x[0]); });
    case LibraryFunction::radians:
      return each(arguments, [](Numbers x) { return x[0] * 0.0174532925199432957F; });
    case LibraryFunction::degrees:
      return each(arguments, [](Numbers x) { return x[0] * 57.2957795130823209F; });
  }
  return {};
}

}  // namespace kelvo::kernel_language
