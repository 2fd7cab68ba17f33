// All targets agree, byte for byte, on programs and pixels made at random.
#include <random>

#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

class RandomPrograms {
 public:
  explicit RandomPrograms(std::uint32_t seed) : random_(seed) {}

  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

  float number() {
    if (below(4) == 0)
      return awkwardFloats()[below(static_cast<std::uint32_t>(awkwardFloats().size()))];
    return static_cast<float>(static_cast<double>(below(4001)) / 1000.0 - 2.0);
  }

  // `sources` of four components each, two images.
  Program program(std::uint32_t sources, std::size_t instructions) {
    Builder builder;
    std::vector<ValueId> floats;
    std::vector<ValueId> integers;
    std::vector<ValueId> masks;
    for (std::uint32_t s = 0; s < sources; ++s) {
      for (std::uint32_t c = 0; c < 4; ++c) floats.push_back(builder.input(s, c));
    }
    floats.push_back(builder.destX());
    floats.push_back(builder.destY());
    floats.push_back(builder.constant(number()));
    integers.push_back(builder.constantInt(static_cast<std::int32_t>(below(100)) - 50));
    integers.push_back(builder.unary(Op::floatToInt, floats[0]));
    masks.push_back(builder.binary(Op::less, floats[0], floats[1]));
    const auto pick = [&](const std::vector<ValueId>& from) {
      // Mostly recent ones, so that programs grow deep.
      const auto size = static_cast<std::uint32_t>(from.size());
      const std::uint32_t window = below(2) == 0 ? size : std::min<std::uint32_t>(size, 6);
      return from[size - 1 - below(window)];
    };
    const auto pickOf = [&](Type type) {
      return type == Type::f32 ? pick(floats) : type == Type::i32 ? pick(integers) : pick(masks);
    };
    const auto keep = [&](ValueId value) {
      const Type type = builder.type(value);
      (type == Type::f32 ? floats : type == Type::i32 ? integers : masks).push_back(value);
    };
    for (std::size_t i = 0; i < instructions; ++i) {
      const auto op = static_cast<Op>(below(static_cast<std::uint32_t>(Op::intToFloat) + 1));
      switch (op) {
        case Op::constant:
          floats.push_back(builder.constant(number()));
          break;
        case Op::constantInt:
          integers.push_back(builder.constantInt(static_cast<std::int32_t>(random_())));
          break;
        case Op::constantMask:
        case Op::input:
        case Op::destX:
        case Op::destY: {
          // The operations of every day, more often than the rest.
          constexpr std::array kCommon{Op::add, Op::mul, Op::sub, Op::mul, Op::add};
          const ValueId a = pick(floats);
          const ValueId b = below(2) == 0 ? builder.constant(number()) : pick(floats);
          floats.push_back(builder.binary(kCommon[below(kCommon.size())], a, b));
          break;
        }
        case Op::sampleImage: {
          const ValueId x = pick(floats);
          const ValueId y = pick(floats);
          const std::uint32_t image = below(2);
          const std::uint32_t components = 1 + below(4);
          for (std::uint32_t c = 0; c < components; ++c) {
            floats.push_back(builder.sampleImage(image, (c + image) % 4, x, y));
          }
          break;
        }
        case Op::select:
          keep(builder.select(pick(masks), pick(floats), pick(floats)));
          break;
        case Op::selectInt:
          keep(builder.select(pick(masks), pick(integers), pick(integers)));
          break;
        default:
          keep(operandCount(op) == 1
                   ? builder.unary(op, pickOf(operandType(op)))
                   : builder.binary(op, pickOf(operandType(op)), pickOf(operandType(op))));
      }
    }
    const auto last = [&](std::size_t i) { return floats[floats.size() - 1 - i]; };
    return builder.finish(
        {last(0), last(1), last(2), below(3) == 0 ? builder.constant(1.0F) : last(3)});
  }

  std::vector<std::byte> bytes(std::size_t count) {
    std::vector<std::byte> result(count);
    for (std::byte& b : result) b = static_cast<std::byte>(random_());
    return result;
  }

  std::vector<std::byte> floats(std::size_t count) {
    std::vector<float> result(count);
    for (float& value : result) value = number();
    return bytesOf(result);
  }

  SampledImage image(std::uint32_t width, std::uint32_t height) {
    auto pixels = std::make_shared<std::vector<float>>(std::size_t{4} * width * height);
    for (float& value : *pixels) value = static_cast<float>(below(256)) / 255.0F;
    return {width, height, std::move(pixels)};
  }

 private:
  static Type operandType(Op op) {
    switch (op) {
      case Op::maskNot:
      case Op::maskAnd:
      case Op::maskOr:
      case Op::maskXor:
        return Type::mask;
      case Op::intNeg:
      case Op::intAdd:
      case Op::intSub:
      case Op::intMul:
      case Op::intDiv:
      case Op::intRemainder:
      case Op::intLess:
      case Op::intEqual:
      case Op::intToFloat:
        return Type::i32;
      default:
        return Type::f32;
    }
  }

  std::mt19937 random_;
};

std::vector<std::byte> sourceBytes(RandomPrograms& random, const PixelLayout& layout,
                                   std::size_t pixels) {
  if (layout.type == SampleType::f32) return random.floats(pixels * layout.components);
  return random.bytes(pixels * layout.pixelBytes());
}

TEST(ExecutableRandom, EveryTargetGivesTheSameBytes) {
  const std::vector<PixelLayout> layouts{kRgb8, kRgba8, kRgb16, kRgba16, kRgbaFloat};
  RandomPrograms random(20240607);
  for (int round = 0; round < 400; ++round) {
    const std::uint32_t sources = 1 + random.below(2);
    std::vector<PixelLayout> inputs;
    for (std::uint32_t s = 0; s < sources; ++s) {
      inputs.push_back(layouts[random.below(static_cast<std::uint32_t>(layouts.size()))]);
    }
    const PixelLayout output = layouts[random.below(static_cast<std::uint32_t>(layouts.size()))];
    const Program program = random.program(sources, 5 + random.below(80));
    const std::vector<SampledImage> images{random.image(17, 1), random.image(5, 4)};
    const Executable executable = Executable::compile(program, inputs, output, images);
    const std::size_t pixels = 1 + random.below(300);
    std::vector<std::vector<std::byte>> rows;
    for (const PixelLayout& layout : inputs) rows.push_back(sourceBytes(random, layout, pixels));
    const auto run = [&](const std::string& target) {
      const ForcedTarget forced(target);
      return runRow(executable, rows, output, pixels, static_cast<std::int32_t>(round) - 200, 7);
    };
    const std::vector<std::byte> expected = run("SCALAR");
    for (const std::string& target : targets()) {
      ASSERT_EQ(run(target), expected) << target << ", round " << round << '\n'
                                       << executable.listing();
    }
  }
}

}  // namespace
}  // namespace kelvo::kernel_language
