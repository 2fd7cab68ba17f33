#include <algorithm>
#include <array>

#include "platform/kernel_language/emitter.h"

namespace kelvo::kernel_language {
namespace {

struct DirectInstruction {
  LibraryFunction function;
  std::size_t arguments;
  Op op;
};

// Functions that are one instruction for each component.
constexpr auto kDirect = std::to_array<DirectInstruction>({
    {LibraryFunction::abs, 1, Op::abs},     {LibraryFunction::sign, 1, Op::sign},
    {LibraryFunction::floor, 1, Op::floor}, {LibraryFunction::ceil, 1, Op::ceil},
    {LibraryFunction::fract, 1, Op::fract}, {LibraryFunction::sqrt, 1, Op::sqrt},
    {LibraryFunction::exp, 1, Op::exp},     {LibraryFunction::exp2, 1, Op::exp2},
    {LibraryFunction::log, 1, Op::log},     {LibraryFunction::log2, 1, Op::log2},
    {LibraryFunction::sin, 1, Op::sin},     {LibraryFunction::cos, 1, Op::cos},
    {LibraryFunction::tan, 1, Op::tan},     {LibraryFunction::asin, 1, Op::asin},
    {LibraryFunction::acos, 1, Op::acos},   {LibraryFunction::atan, 1, Op::atan},
    {LibraryFunction::min, 2, Op::min},     {LibraryFunction::max, 2, Op::max},
    {LibraryFunction::mod, 2, Op::mod},     {LibraryFunction::pow, 2, Op::pow},
    {LibraryFunction::atan, 2, Op::atan2},
});

// The floats nearest to pi / 180 and 180 / pi.
constexpr float kRadiansPerDegree = 0.017453292519943295F;
constexpr float kDegreesPerRadian = 57.29577951308232F;

}  // namespace

template <typename Compute>
EmittedValue LibraryEmitter::componentwise(ValueType result, Compute compute) {
  EmittedValue value{result};
  for (std::uint32_t i = 0; i < componentCount(result); ++i) value.components[i] = compute(i);
  return value;
}

EmittedValue LibraryEmitter::call(LibraryFunction function, ValueType result, Values arguments) {
  for (const DirectInstruction& direct : kDirect) {
    if (direct.function != function || direct.arguments != arguments.size()) continue;
    return componentwise(result, [&](std::uint32_t i) {
      const ValueId a = arguments[0].component(i);
      return arguments.size() == 1 ? writer_.unary(direct.op, a)
                                   : writer_.binary(direct.op, a, arguments[1].component(i));
    });
  }
  const auto at = [&](std::size_t argument, std::uint32_t i) {
    return arguments[argument].component(i);
  };
  const ValueId zero = writer_.constant(0.0F);
  const ValueId one = writer_.constant(1.0F);
  switch (function) {
    case LibraryFunction::sample:
      return sample(arguments[0], arguments[1]);
    case LibraryFunction::samplerCoord:
    case LibraryFunction::destCoord:
      return destCoord();
    case LibraryFunction::samplerTransform:
      return arguments[1];
    case LibraryFunction::samplerExtent:
      return samplerExtent(arguments[0]);
    case LibraryFunction::unpremultiply:
      return scaleColor(arguments[0], true);
    case LibraryFunction::premultiply:
      return scaleColor(arguments[0], false);
    case LibraryFunction::compare:
      return componentwise(result, [&](std::uint32_t i) {
        return writer_.select(writer_.binary(Op::less, at(0, i), zero), at(1, i), at(2, i));
      });
    case LibraryFunction::step:
      return componentwise(result, [&](std::uint32_t i) {
        return writer_.select(writer_.binary(Op::less, at(1, i), at(0, i)), zero, one);
      });
    case LibraryFunction::clamp:
      return componentwise(result,
                           [&](std::uint32_t i) { return clamp(at(0, i), at(1, i), at(2, i)); });
    case LibraryFunction::mix:
      return componentwise(result, [&](std::uint32_t i) {
        const ValueId rest = writer_.binary(Op::sub, one, at(2, i));
        return writer_.binary(Op::add, writer_.binary(Op::mul, at(0, i), rest),
                              writer_.binary(Op::mul, at(1, i), at(2, i)));
      });
    case LibraryFunction::smoothstep:
      return smoothstep(arguments, result);
    case LibraryFunction::dot:
      return {result, {dot(arguments[0], arguments[1])}};
    case LibraryFunction::length:
      return {result, {length(arguments[0])}};
    case LibraryFunction::distance:
      return {result, {length(difference(arguments[0], arguments[1]))}};
    case LibraryFunction::normalize: {
      const ValueId size = length(arguments[0]);
      return componentwise(
          result, [&](std::uint32_t i) { return writer_.binary(Op::div, at(0, i), size); });
    }
    case LibraryFunction::inversesqrt:
      return componentwise(result, [&](std::uint32_t i) {
        return writer_.binary(Op::div, one, writer_.unary(Op::sqrt, at(0, i)));
      });
    case LibraryFunction::radians:
      return scaled(arguments[0], kRadiansPerDegree);
    case LibraryFunction::degrees:
      return scaled(arguments[0], kDegreesPerRadian);
    default:
      return {result, {zero, zero, zero, zero}};  // all others are in kDirect
  }
}

EmittedValue LibraryEmitter::sample(const EmittedValue& sampler, const EmittedValue& coordinate) {
  EmittedValue value{ValueType::vec4};
  if (writer_.overflowed()) {
    value.components.fill(writer_.constant(0.0F));
    return value;
  }
  const std::uint32_t parameter = sampler.components[0];
  const auto& argument = std::get<SamplerArgument>(arguments_[parameter]);
  const EmittedValue own = destCoord();
  if (std::equal(own.components.begin(), own.components.begin() + 2,
                 coordinate.components.begin())) {
    if (!here_[parameter]) here_[parameter] = argument.sampleHere(writer_.builder());
    value.components = *here_[parameter];
  } else {
    value.components =
        argument.sampleAt(writer_.builder(), coordinate.components[0], coordinate.components[1]);
  }
  return value;
}

EmittedValue LibraryEmitter::destCoord() {
  return {ValueType::vec2, {writer_.builder().destX(), writer_.builder().destY()}};
}

EmittedValue LibraryEmitter::samplerExtent(const EmittedValue& sampler) {
  const auto& argument = std::get<SamplerArgument>(arguments_[sampler.components[0]]);
  return componentwise(ValueType::vec4,
                       [&](std::uint32_t i) { return writer_.constant(argument.extent[i]); });
}

EmittedValue LibraryEmitter::scaleColor(const EmittedValue& pixel, bool divide) {
  EmittedValue result = pixel;
  const ValueId alpha = pixel.components[3];
  const ValueId zero = writer_.constant(0.0F);
  for (std::uint32_t i = 0; i < 3; ++i) {
    ValueId& color = result.components[i];
    if (divide) {
      const ValueId transparent = writer_.binary(Op::equal, alpha, zero);
      color = writer_.select(transparent, zero, writer_.binary(Op::div, color, alpha));
    } else {
      color = writer_.binary(Op::mul, color, alpha);
    }
  }
  return result;
}

EmittedValue LibraryEmitter::smoothstep(Values arguments, ValueType result) {
  return componentwise(result, [&](std::uint32_t i) {
    const ValueId low = arguments[0].component(i);
    const ValueId offset = writer_.binary(Op::sub, arguments[2].component(i), low);
    const ValueId width = writer_.binary(Op::sub, arguments[1].component(i), low);
    const ValueId t = clamp(writer_.binary(Op::div, offset, width), writer_.constant(0.0F),
                            writer_.constant(1.0F));
    const ValueId slope = writer_.binary(Op::sub, writer_.constant(3.0F),
                                         writer_.binary(Op::mul, writer_.constant(2.0F), t));
    return writer_.binary(Op::mul, writer_.binary(Op::mul, t, t), slope);
  });
}

ValueId LibraryEmitter::clamp(ValueId x, ValueId low, ValueId high) {
  return writer_.binary(Op::min, writer_.binary(Op::max, x, low), high);
}

ValueId LibraryEmitter::dot(const EmittedValue& a, const EmittedValue& b) {
  ValueId sum = writer_.binary(Op::mul, a.component(0), b.component(0));
  for (std::uint32_t i = 1; i < componentCount(a.type); ++i) {
    sum = writer_.binary(Op::add, sum, writer_.binary(Op::mul, a.component(i), b.component(i)));
  }
  return sum;
}

ValueId LibraryEmitter::length(const EmittedValue& value) {
  if (!isVector(value.type)) return writer_.unary(Op::abs, value.component(0));
  return writer_.unary(Op::sqrt, dot(value, value));
}

EmittedValue LibraryEmitter::difference(const EmittedValue& a, const EmittedValue& b) {
  return componentwise(a.type, [&](std::uint32_t i) {
    return writer_.binary(Op::sub, a.component(i), b.component(i));
  });
}

EmittedValue LibraryEmitter::scaled(const EmittedValue& value, float factor) {
  return componentwise(value.type, [&](std::uint32_t i) {
    return writer_.binary(Op::mul, value.component(i), writer_.constant(factor));
  });
}

}  // namespace kelvo::kernel_language
