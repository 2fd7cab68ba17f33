// Blocks without any pixel that has the mask take a short way, and one such pixel is enough not to.
#include <functional>

#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

using Build = std::function<ValueId(Builder&, std::uint32_t component)>;

// Where red is 1: what `chosen` builds; elsewhere what `otherwise` builds.
Executable compile(const Build& chosen, const Build& otherwise) {
  Builder b;
  const ValueId mask = b.binary(Op::lessEqual, b.constant(1.0F), b.input(0, 0));
  Pixel result{};
  for (std::uint32_t c = 0; c < 3; ++c) result[c] = b.select(mask, chosen(b, c), otherwise(b, c));
  result[3] = b.constant(1.0F);
  const std::array inputs{kRgb8};
  return Executable::compile(b.finish(result), inputs, kRgb8);
}

bool hasShortWay(const Executable& executable) {
  return executable.listing().find("skipIfAny") != std::string::npos;
}

ValueId unchanged(Builder& b, std::uint32_t component) { return b.input(0, component); }

// A quarter of all three, in so many operations that it pays to pass over them.
ValueId quarterOfSum(Builder& b, std::uint32_t) {
  const ValueId sum =
      b.binary(Op::add, b.binary(Op::add, b.input(0, 0), b.input(0, 1)), b.input(0, 2));
  return b.binary(Op::mul, b.unary(Op::sqrt, b.binary(Op::mul, sum, sum)), b.constant(0.25F));
}
ValueId quarterOfTurnedSum(Builder& b, std::uint32_t component) {
  return b.binary(Op::sub, b.constant(1.0F), quarterOfSum(b, component));
}

TEST(Branches, OnePixelOfABlockIsEnough) {
  const Executable executable = compile(quarterOfTurnedSum, unchanged);
  ASSERT_TRUE(hasShortWay(executable)) << executable.listing();
  constexpr std::size_t kPixels = 280;
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    for (std::size_t chosen = 0; chosen <= kPixels; ++chosen) {  // the last: none
      std::vector<std::byte> row;
      std::vector<std::byte> expected;
      for (std::size_t i = 0; i < kPixels; ++i) {
        const std::byte red{static_cast<unsigned char>(i == chosen ? 255 : 254)};
        for (const std::byte level : {red, std::byte{100}, std::byte{53}}) {
          row.push_back(level);
          // 1 - (255 + 100 + 53) / 255 / 4 = 153 / 255
          expected.push_back(i == chosen ? std::byte{153} : level);
        }
      }
      ASSERT_EQ(runRow(executable, {row}, kRgb8, kPixels), expected) << target << ' ' << chosen;
    }
  }
}

TEST(Branches, AConstantCanBeTheShortWay) {
  const Build chosen = [](Builder& b, std::uint32_t component) {
    return b.binary(Op::mul, quarterOfSum(b, component), b.input(0, component));
  };
  const Build constant = [](Builder& b, std::uint32_t) { return b.constant(0.2F); };
  const Executable executable = compile(chosen, constant);
  ASSERT_TRUE(hasShortWay(executable)) << executable.listing();
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    EXPECT_EQ(runRow(executable, {std::vector<std::byte>(600, std::byte{9})}, kRgb8, 200),
              std::vector<std::byte>(600, std::byte{51}))
        << target;
  }
}

TEST(Branches, ThereIsNoneWhereLittleWouldBeSaved) {
  const Build sum = [](Builder& b, std::uint32_t) {
    return b.binary(Op::add, b.input(0, 0), b.input(0, 1));
  };
  EXPECT_FALSE(hasShortWay(compile(sum, unchanged)));
}

TEST(Branches, ThereIsNoneWhereTheOtherSideIsWorkToo) {
  const Build difference = [](Builder& b, std::uint32_t component) {
    return b.binary(Op::sub, b.input(0, component), b.input(0, (component + 1) % 3));
  };
  EXPECT_FALSE(hasShortWay(compile(quarterOfTurnedSum, difference)));
}

}  // namespace
}  // namespace kelvo::kernel_language
