// Whatever a compiler knows of its sources, a program gives what its instructions say, one by one.
#include <algorithm>
#include <cmath>
#include <random>

#include "platform/kernel_language/one_lane.h"
#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

constexpr std::size_t kPixels = 300;  // no multiple of a block

// A program made at random without the builder, which would fold some of it, and the value of each
// of its instructions for each pixel.
class Script {
 public:
  Script(std::uint32_t seed, const PixelLayout& layout) : random_(seed), layout_(layout) {
    makePixels();
    for (std::uint32_t c = 0; c < 4; ++c) append({.op = Op::input, .immediate = c});
    constant(1.0F);
    append({.op = Op::less, .a = 0, .b = 1});
    const std::uint32_t length = 4 + below(50);
    for (std::uint32_t i = 0; i < length; ++i) appendAny();
    for (ValueId& output : program_.outputs) output = pick(Type::f32);
    if (below(4) == 0) program_.outputs[0] = chosenByDistance(program_.outputs[0]);
    if (below(4) == 0) chooseByOneMask();
    if (below(2) == 0) program_.outputs[3] = 4;  // opaque
  }

  [[nodiscard]] const Program& program() const { return program_; }
  [[nodiscard]] const std::vector<std::byte>& pixels() const { return pixels_; }

  // What a row of the layout must hold.
  [[nodiscard]] std::vector<std::byte> expected(const PixelLayout& output) const {
    std::vector<std::byte> bytes;
    for (std::size_t pixel = 0; pixel < kPixels; ++pixel) {
      const float alpha = limited(outputAt(3, pixel), 1.0F);
      for (std::size_t c = 0; c < output.components; ++c) {
        const float value = outputAt(c, pixel);
        const float level = c == 3 ? alpha : limited(value, alpha);
        if (output.type == SampleType::u8) {
          put(bytes, static_cast<std::uint8_t>(std::floor(255.0F * level + 0.5F)));
        } else if (output.type == SampleType::u16) {
          put(bytes, static_cast<std::uint16_t>(std::floor(65535.0F * level + 0.5F)));
        } else {
          put(bytes, std::isnan(value) ? kNan : value);
        }
      }
    }
    return bytes;
  }

  [[nodiscard]] std::string listing() const {
    std::string text;
    const auto operand = [](ValueId id) {
      return id == kNoValue ? std::string() : " " + std::to_string(id);
    };
    for (std::size_t i = 0; i < program_.instructions.size(); ++i) {
      const Instruction& in = program_.instructions[i];
      text += std::to_string(i) + " = " + std::string(opName(in.op));
      text += operand(in.a) + operand(in.b) + operand(in.c);
      if (in.op == Op::input) text += " " + std::to_string(in.immediate);
      if (in.op == Op::constant) text += " " + std::to_string(std::bit_cast<float>(in.immediate));
      text += '\n';
    }
    for (const ValueId output : program_.outputs) text += "output " + std::to_string(output) + '\n';
    return text;
  }

 private:
  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

  template <typename T>
  static void put(std::vector<std::byte>& bytes, T value) {
    const auto* const from = reinterpret_cast<const std::byte*>(&value);
    bytes.insert(bytes.end(), from, from + sizeof value);
  }

  static float limited(float value, float maximum) {
    const float positive = value > 0.0F ? value : 0.0F;
    return positive < maximum ? positive : maximum;
  }

  // Few levels, so that pixels have equal components, extremes, and grey among them; in half of the
  // rows long runs of the same, so that there are blocks in which no pixel has some mask.
  void makePixels() {
    const bool hasRuns = below(2) == 0;
    for (std::size_t i = 0; i < kPixels * layout_.components; ++i) {
      if (hasRuns && i % layout_.components == 0 && !pixels_.empty() && below(64) != 0) {
        for (std::size_t b = 0; b < layout_.pixelBytes(); ++b) {
          pixels_.push_back(pixels_[pixels_.size() - layout_.pixelBytes()]);
        }
        i += layout_.components - std::size_t{1};
        continue;
      }
      const std::uint32_t level = below(3) == 0 ? below(256) : 51 * below(6);
      if (layout_.type == SampleType::u8) {
        put(pixels_, static_cast<std::uint8_t>(level));
      } else if (layout_.type == SampleType::u16) {
        put(pixels_, static_cast<std::uint16_t>(257 * level + (below(4) == 0 ? below(2) : 0)));
      } else {
        put(pixels_, static_cast<float>(level) / 255.0F * (below(8) == 0 ? -3.0F : 1.0F));
      }
    }
  }

  [[nodiscard]] float sample(std::size_t pixel, std::size_t component) const {
    if (component >= layout_.components) return 1.0F;
    const std::byte* const from =
        pixels_.data() + pixel * layout_.pixelBytes() + component * layout_.sampleBytes();
    const auto as = [from]<typename T>(T value) {
      std::memcpy(&value, from, sizeof value);
      return static_cast<float>(value);
    };
    switch (layout_.type) {
      case SampleType::u8:
        return as(std::uint8_t{}) / 255.0F;
      case SampleType::u16:
        return as(std::uint16_t{}) / 65535.0F;
      case SampleType::f32:
        return as(0.0F);
    }
    return 0.0F;
  }

  [[nodiscard]] float outputAt(std::size_t component, std::size_t pixel) const {
    return std::bit_cast<float>(values_[program_.outputs[component]][pixel]);
  }

  ValueId append(const Instruction& in) {
    std::array<std::uint32_t, kPixels> values{};
    const auto valueOf = [&](ValueId id, std::size_t pixel) {
      return id == kNoValue ? 0U : values_[id][pixel];
    };
    for (std::size_t p = 0; p < kPixels; ++p) {
      if (in.op == Op::input) {
        values[p] = std::bit_cast<std::uint32_t>(sample(p, in.immediate));
      } else if (in.op == Op::constant) {
        values[p] = in.immediate;
      } else {
        values[p] = evaluateOneLane(in.op, valueOf(in.a, p), valueOf(in.b, p), valueOf(in.c, p));
      }
    }
    values_.push_back(values);
    program_.instructions.push_back(in);
    return static_cast<ValueId>(values_.size() - 1);
  }

  ValueId constant(float value) {
    return append({.op = Op::constant, .immediate = std::bit_cast<std::uint32_t>(value)});
  }

  // A constant that the value takes for some pixel, or the next one to it.
  ValueId reached(ValueId value) {
    const auto taken = std::bit_cast<float>(values_[value][below(kPixels)]);
    const std::uint32_t side = below(4);
    return constant(side == 0   ? std::nextafter(taken, kInfinity)
                    : side == 1 ? std::nextafter(taken, -kInfinity)
                                : taken);
  }

  ValueId anyConstant() {
    constexpr std::array kUsual{0.0F,    1.0F,   -1.0F, 0.5F, -0.5F,       2.0F,
                                0.2125F, 1.2F,   0.3F,  3.0F, 1.0F / 6.0F, 1.0F / 3.0F,
                                5.0F,    -0.75F, -0.0F, 1e-6F};
    if (below(8) == 0) return constant(awkwardFloats()[random_() % awkwardFloats().size()]);
    return constant(kUsual[below(kUsual.size())]);
  }

  ValueId pick(Type type) {
    std::vector<ValueId> found;
    for (ValueId i = 0; i < program_.instructions.size(); ++i) {
      if (resultType(program_.instructions[i].op) == type) found.push_back(i);
    }
    const auto size = static_cast<std::uint32_t>(found.size());
    // Mostly recent ones, so that programs grow deep.
    const std::uint32_t window = below(3) == 0 ? size : std::min<std::uint32_t>(size, 5);
    return found[size - 1 - below(window)];
  }

  void appendAny() {
    const ValueId x = pick(Type::f32);
    switch (below(10)) {
      case 0: {
        constexpr std::array kComparisons{Op::less, Op::lessEqual, Op::equal, Op::notEqual};
        const Op op = kComparisons[below(kComparisons.size())];
        const ValueId y = below(3) == 0 ? pick(Type::f32) : reached(x);
        below(2) == 0 ? append({.op = op, .a = x, .b = y}) : append({.op = op, .a = y, .b = x});
        return;
      }
      case 1: {
        constexpr std::array kLogic{Op::maskAnd, Op::maskOr, Op::maskXor};
        const ValueId mask = pick(Type::mask);
        if (below(3) == 0) append({.op = Op::maskNot, .a = mask});
        append({.op = kLogic[below(kLogic.size())], .a = mask, .b = pick(Type::mask)});
        return;
      }
      case 2:
      case 3: {
        const ValueId other = below(2) == 0 ? pick(Type::f32) : anyConstant();
        append({.op = Op::select, .a = pick(Type::mask), .b = x, .c = other});
        return;
      }
      case 4: {
        constexpr std::array kUnary{Op::neg,  Op::abs,  Op::sign,  Op::floor, Op::ceil,
                                    Op::sqrt, Op::sqrt, Op::fract, Op::sin,   Op::cos};
        const Op op = kUnary[below(kUnary.size())];
        append({.op = op, .a = x});
        return;
      }
      default: {
        constexpr std::array kBinary{Op::add, Op::sub, Op::mul, Op::mul, Op::add,
                                     Op::div, Op::min, Op::max, Op::mod};
        const ValueId y = below(2) == 0 ? pick(Type::f32) : anyConstant();
        const Op op = kBinary[below(kBinary.size())];
        below(2) == 0 ? append({.op = op, .a = x, .b = y}) : append({.op = op, .a = y, .b = x});
      }
    }
  }

  // The value, or a constant where one point is near another, which estimates may tell: their
  // squared distance in polar coordinates, at times with a mask and further squares.
  ValueId chosenByDistance(ValueId value) {
    const ValueId angle = below(2) == 0 ? below(3) : pick(Type::f32);
    const ValueId radius = below(2) == 0 ? below(3) : pick(Type::f32);
    const bool hasMask = below(2) == 0;
    ValueId mask = pick(Type::mask);
    std::vector<ValueId> squares;
    for (const Op op : {Op::sin, Op::cos}) {
      const ValueId turned = append({.op = op, .a = angle});
      ValueId square = squareOf(append({.op = Op::mul, .a = radius, .b = turned}));
      if (hasMask) {
        square = append({.op = Op::select, .a = mask, .b = anyConstant(), .c = square});
        if (below(8) == 0) mask = pick(Type::mask);
      }
      squares.push_back(square);
    }
    for (std::uint32_t i = below(3); i > 0; --i) squares.push_back(squareOf(pick(Type::f32)));
    std::ranges::shuffle(squares, random_);
    // Or the builder joins the two selections.
    if (hasMask) squares.insert(squares.begin(), squareOf(below(3)));
    ValueId distance = squares[0];
    for (std::size_t i = 1; i < squares.size(); ++i) {
      distance = append({.op = Op::add, .a = distance, .b = squares[i]});
    }
    if (below(2) == 0) distance = append({.op = Op::sqrt, .a = distance});
    const Op op = below(2) == 0 ? Op::less : Op::lessEqual;
    const ValueId near = below(3) == 0 ? append({.op = op, .a = reached(distance), .b = distance})
                                       : append({.op = op, .a = distance, .b = reached(distance)});
    return append({.op = Op::select, .a = near, .b = anyConstant(), .c = value});
  }

  // Of the value's difference from a constant.
  ValueId squareOf(ValueId value) {
    const ValueId k = anyConstant();
    const std::uint32_t form = below(3);
    const ValueId away = form == 0   ? append({.op = Op::add, .a = value, .b = k})
                         : form == 1 ? append({.op = Op::sub, .a = value, .b = k})
                                     : append({.op = Op::sub, .a = k, .b = value});
    return append({.op = Op::mul, .a = away, .b = away});
  }

  // Leaves the source or a constant where a mask is not, as filters do that change some colours.
  void chooseByOneMask() {
    const ValueId value = pick(Type::f32);
    const ValueId mask = below(2) == 0 ? pick(Type::mask)
                                       : append({.op = Op::equal, .a = value, .b = reached(value)});
    for (ValueId c = 0; c < 3; ++c) {
      const ValueId otherwise = below(8) == 0 ? anyConstant() : c;
      const ValueId chosen = program_.outputs[c];
      program_.outputs[c] = append({.op = Op::select, .a = mask, .b = chosen, .c = otherwise});
    }
    program_.outputs[3] = 4;
  }

  std::mt19937 random_;
  PixelLayout layout_;
  Program program_;
  std::vector<std::byte> pixels_;
  std::vector<std::array<std::uint32_t, kPixels>> values_;
};

TEST(ExecutableReference, ProgramsGiveWhatTheirInstructionsSay) {
  const std::array layouts{kRgb8, kRgba8, kRgb16, kRgba16, kRgbaFloat};
  std::size_t estimated = 0;
  std::size_t shortWays = 0;
  for (std::uint32_t round = 0; round < 10000; ++round) {
    const PixelLayout& input = layouts[round % layouts.size()];
    const Script script(round, input);
    for (const PixelLayout& output : {round % 2 == 0 ? kRgb8 : kRgba8, kRgbaFloat}) {
      const std::array inputs{input};
      const Executable executable = Executable::compile(script.program(), inputs, output);
      const std::string steps = executable.listing();
      if (steps.find("skipSettled") != std::string::npos) ++estimated;
      if (steps.find("skipIfAny") != std::string::npos) ++shortWays;
      const std::vector<std::byte> expected = script.expected(output);
      for (const std::string& target : targets()) {
        const ForcedTarget forced(target);
        ASSERT_EQ(runRow(executable, {script.pixels()}, output, kPixels), expected)
            << target << ", round " << round << '\n'
            << script.listing() << steps;
      }
    }
  }
  // Or the programs miss what is hardest.
  EXPECT_GT(estimated, 200U);
  EXPECT_GT(shortWays, 200U);
}

}  // namespace
}  // namespace kelvo::kernel_language
