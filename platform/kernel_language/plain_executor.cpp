#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "platform/kernel_language/one_lane.h"
#include "platform/kernel_language/plan.h"

namespace kelvo::kernel_language {
namespace {

template <typename Sample>
Sample loadSample(const std::byte* from) {
  Sample sample;
  std::memcpy(&sample, from, sizeof sample);
  return sample;
}

float loadComponent(const PixelLayout& layout, const std::byte* pixel, std::size_t component) {
  const std::byte* from = pixel + component * layout.sampleBytes();
  switch (layout.type) {
    case SampleType::u8:
      return static_cast<float>(loadSample<std::uint8_t>(from)) / 255.0F;
    case SampleType::u16:
      return static_cast<float>(loadSample<std::uint16_t>(from)) / 65535.0F;
    case SampleType::f32:
      return loadSample<float>(from);
  }
  return 0.0F;
}

// Not a number counts as 0.
float limited(float value, float maximum) {
  const float positive = value > 0.0F ? value : 0.0F;
  return positive < maximum ? positive : maximum;
}

void storePixel(const PixelLayout& layout, const std::array<float, 4>& value, std::byte* pixel) {
  const float alpha = limited(value[3], 1.0F);
  for (std::size_t component = 0; component < layout.components; ++component) {
    std::byte* to = pixel + component * layout.sampleBytes();
    const float level = component == 3 ? alpha : limited(value[component], alpha);
    switch (layout.type) {
      case SampleType::u8: {
        const auto sample = static_cast<std::uint8_t>(255.0F * level + 0.5F);
        std::memcpy(to, &sample, sizeof sample);
        break;
      }
      case SampleType::u16: {
        const auto sample = static_cast<std::uint16_t>(65535.0F * level + 0.5F);
        std::memcpy(to, &sample, sizeof sample);
        break;
      }
      case SampleType::f32: {
        // One not-a-number for all, so that equal programs give equal bytes.
        const float sample = std::isnan(value[component]) ? std::numeric_limits<float>::quiet_NaN()
                                                          : value[component];
        std::memcpy(to, &sample, sizeof sample);
        break;
      }
    }
  }
}

struct Position {
  std::size_t first = 0;
  std::size_t second = 0;
  float weight = 0.0F;  // of the second
};

Position locate(float coordinate, std::uint32_t size) {
  const auto last = static_cast<float>(size - 1);
  const float inside = limited(coordinate, last);
  const float whole = std::floor(inside);
  const auto first = static_cast<std::size_t>(whole);
  return {first, std::min<std::size_t>(first + 1, size - 1), inside - whole};
}

float mixed(float a, float b, float weight) { return a + (b - a) * weight; }

float sampleAt(const SampledImage& image, std::size_t component, float x, float y) {
  const Position column = locate(x, image.width);
  const Position row = locate(y, image.height);
  const auto texel = [&](std::size_t column_, std::size_t row_) {
    return (*image.pixels)[(row_ * image.width + column_) * 4 + component];
  };
  const float top =
      mixed(texel(column.first, row.first), texel(column.second, row.first), column.weight);
  if (image.height == 1) return top;
  const float bottom =
      mixed(texel(column.first, row.second), texel(column.second, row.second), column.weight);
  return mixed(top, bottom, row.weight);
}

}  // namespace

void runPlainly(const Executable::Plan& plan, const RowRun& row) {
  const std::vector<Instruction>& instructions = plan.program.instructions;
  std::vector<std::uint32_t> values(instructions.size());
  const auto valueOf = [&](ValueId id) { return id == kNoValue ? 0U : values[id]; };
  const auto floatOf = [&](ValueId id) { return std::bit_cast<float>(values[id]); };
  for (std::size_t pixel = 0; pixel < row.pixels; ++pixel) {
    for (std::size_t i = 0; i < instructions.size(); ++i) {
      const Instruction& in = instructions[i];
      const std::size_t index = in.immediate / 4;
      const std::size_t component = in.immediate % 4;
      switch (in.op) {
        case Op::constant:
        case Op::constantInt:
        case Op::constantMask:
          values[i] = in.immediate;
          break;
        case Op::input: {
          const PixelLayout& layout = plan.inputs[index];
          const std::byte* from = row.inputs[index] + pixel * layout.pixelBytes();
          values[i] = std::bit_cast<std::uint32_t>(loadComponent(layout, from, component));
          break;
        }
        case Op::destX:
          values[i] = std::bit_cast<std::uint32_t>(
              static_cast<float>(row.x + static_cast<std::int32_t>(pixel)));
          break;
        case Op::destY:
          values[i] = std::bit_cast<std::uint32_t>(static_cast<float>(row.y));
          break;
        case Op::sampleImage:
          values[i] = std::bit_cast<std::uint32_t>(
              sampleAt(plan.images[index], component, floatOf(in.a), floatOf(in.b)));
          break;
        default:
          values[i] = evaluateOneLane(in.op, valueOf(in.a), valueOf(in.b), valueOf(in.c));
      }
    }
    std::array<float, 4> value{};
    for (std::size_t c = 0; c < 4; ++c) value[c] = floatOf(plan.program.outputs[c]);
    storePixel(plan.output, value, row.output + pixel * plan.output.pixelBytes());
  }
}

}  // namespace kelvo::kernel_language
