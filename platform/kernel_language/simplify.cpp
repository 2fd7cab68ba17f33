#include "platform/kernel_language/simplify.h"

#include <bit>

#include "platform/kernel_language/ranges.h"

namespace kelvo::kernel_language {
namespace {

// The executors address texels by 32-bit offsets and find columns by whole floats.
constexpr std::size_t kMaximumSide = 1U << 24U;
constexpr std::size_t kMaximumTexels = 1U << 28U;

bool isUsable(const SampledImage& image) {
  if (image.width == 0 || image.height == 0 || image.pixels == nullptr) return false;
  if (image.width > kMaximumSide || image.height > kMaximumSide) return false;
  const std::size_t texels = std::size_t{image.width} * image.height;
  return texels <= kMaximumTexels && image.pixels->size() >= 4 * texels;
}

}  // namespace

SimplifiedProgram simplifyForLayouts(const Program& program, std::span<const PixelLayout> inputs,
                                     const PixelLayout& output,
                                     std::span<const SampledImage> images) {
  Builder builder;
  std::vector<bool> isUnitSource;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    isUnitSource.push_back(inputs[i].type != SampleType::f32);
    if (isUnitSource.back()) builder.assumeUnitRange(static_cast<std::uint32_t>(i));
  }
  std::vector<ValueId> moved;
  moved.reserve(program.instructions.size());
  for (const Instruction& in : program.instructions) {
    const std::uint32_t index = in.immediate / 4;
    const std::uint32_t component = in.immediate % 4;
    ValueId value = kNoValue;
    switch (in.op) {
      case Op::constant:
        value = builder.constant(std::bit_cast<float>(in.immediate));
        break;
      case Op::constantInt:
        value = builder.constantInt(static_cast<std::int32_t>(in.immediate));
        break;
      case Op::constantMask:
        value = builder.constantMask(in.immediate != 0);
        break;
      case Op::input:
        if (index >= inputs.size()) {
          value = builder.constant(0.0F);
        } else if (component >= inputs[index].components) {
          value = builder.constant(1.0F);
        } else {
          value = builder.input(index, component);
        }
        break;
      case Op::destX:
        value = builder.destX();
        break;
      case Op::destY:
        value = builder.destY();
        break;
      case Op::sampleImage:
        value = index < images.size() && isUsable(images[index])
                    ? builder.sampleImage(index, component, moved[in.a], moved[in.b])
                    : builder.constant(0.0F);
        break;
      case Op::select:
      case Op::selectInt:
        value = builder.select(moved[in.a], moved[in.b], moved[in.c]);
        break;
      default:
        value = operandCount(in.op) == 1 ? builder.unary(in.op, moved[in.a])
                                         : builder.binary(in.op, moved[in.a], moved[in.b]);
    }
    moved.push_back(value);
  }
  constexpr float kSmall = 0x1p22F;
  Pixel outputs{};
  SimplifiedProgram result;
  for (std::size_t c = 0; c < 4; ++c) {
    outputs[c] = moved[program.outputs[c]];
    // Integer samples do not tell the zeros apart.
    if (output.type != SampleType::f32) outputs[c] = builder.withAnyZero(outputs[c]);
    result.isSmall[c] = builder.isWithin(outputs[c], kSmall);
  }
  result.program = builder.finish(outputs);
  result.ranges = rangesOf(result.program, isUnitSource);
  return result;
}

}  // namespace kelvo::kernel_language
