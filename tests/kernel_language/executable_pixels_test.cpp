// Conversion from samples and to samples, ends of rows, tables, images.
#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <utility>

#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

Program identity(bool opaque) {
  Builder b;
  return b.finish(
      {b.input(0, 0), b.input(0, 1), b.input(0, 2), opaque ? b.constant(1.0F) : b.input(0, 3)});
}

// Red, green and blue change places, so that no tables can be used.
Program rotation(bool opaque) {
  Builder b;
  return b.finish(
      {b.input(0, 1), b.input(0, 2), b.input(0, 0), opaque ? b.constant(1.0F) : b.input(0, 3)});
}

Executable compileOne(const Program& program, PixelLayout input, PixelLayout output) {
  const std::array inputs{input};
  return Executable::compile(program, inputs, output);
}

TEST(ExecutablePixels, EveryByteBecomesItsExactShareOf255) {
  std::vector<std::uint8_t> levels;
  for (int i = 0; i < 256; ++i) {
    for (int c = 0; c < 4; ++c) levels.push_back(static_cast<std::uint8_t>(i));
  }
  const Executable executable = compileOne(identity(false), kRgba8, kRgbaFloat);
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const auto out = valuesOf<float>(runRow(executable, {bytesOf(levels)}, kRgbaFloat, 256));
    for (std::size_t i = 0; i < out.size(); ++i) {
      ASSERT_EQ(out[i], static_cast<float>(levels[i]) / 255.0F) << target;
    }
  }
}

TEST(ExecutablePixels, Every16BitLevelBecomesItsExactShareOf65535) {
  std::vector<std::uint16_t> levels;
  for (int i = 0; i < 65536; ++i) {
    for (int c = 0; c < 4; ++c) levels.push_back(static_cast<std::uint16_t>(i));
  }
  const Executable executable = compileOne(identity(false), kRgba16, kRgbaFloat);
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const auto out = valuesOf<float>(runRow(executable, {bytesOf(levels)}, kRgbaFloat, 65536));
    for (std::size_t i = 0; i < out.size(); ++i) {
      ASSERT_EQ(out[i], static_cast<float>(levels[i]) / 65535.0F) << target;
    }
  }
}

TEST(ExecutablePixels, EveryLevelSurvivesTheWayThereAndBack) {
  std::vector<std::uint8_t> bytes;
  for (int i = 0; i < 256; ++i) {
    for (int c = 0; c < 3; ++c) bytes.push_back(static_cast<std::uint8_t>((i * (c + 1)) % 256));
  }
  std::vector<std::uint16_t> words;
  for (int i = 0; i < 65536; ++i) {
    for (int c = 0; c < 3; ++c)
      words.push_back(static_cast<std::uint16_t>((i * (2 * c + 1)) % 65536));
  }
  const Executable narrow = compileOne(rotation(true), kRgb8, kRgb8);
  const Executable wide = compileOne(rotation(true), kRgb16, kRgb16);
  ASSERT_FALSE(narrow.usesTables());
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const auto narrowOut = valuesOf<std::uint8_t>(runRow(narrow, {bytesOf(bytes)}, kRgb8, 256));
    const auto wideOut = valuesOf<std::uint16_t>(runRow(wide, {bytesOf(words)}, kRgb16, 65536));
    for (std::size_t i = 0; i < 256; ++i) {
      for (std::size_t c = 0; c < 3; ++c) {
        ASSERT_EQ(narrowOut[3 * i + c], bytes[3 * i + (c + 1) % 3]) << target;
      }
    }
    for (std::size_t i = 0; i < 65536; ++i) {
      for (std::size_t c = 0; c < 3; ++c) {
        ASSERT_EQ(wideOut[3 * i + c], words[3 * i + (c + 1) % 3]) << target;
      }
    }
  }
}

// floor(maximum v + 0.5) of the limited value, every operation in single precision.
unsigned expectedLevel(float value, float alpha, float maximum) {
  const float positive = value > 0.0F ? value : 0.0F;  // not a number too
  const float limited = std::fmin(positive, alpha);
  volatile float product = maximum * limited;
  return static_cast<unsigned>(std::floor(product + 0.5F));
}

float expectedAlpha(float value) { return std::fmin(value > 0.0F ? value : 0.0F, 1.0F); }

std::vector<float> renderingPixels() {
  std::vector<float> pixels;
  for (const float colour : awkwardFloats()) {
    for (const float alpha : awkwardFloats()) {
      pixels.insert(pixels.end(), {colour, alpha / 2.0F, -colour, alpha});
    }
  }
  std::mt19937 random(3);
  std::uniform_real_distribution<float> within(-0.1F, 1.1F);
  for (int i = 0; i < 20000; ++i) {
    pixels.insert(pixels.end(), {within(random), within(random), within(random), within(random)});
  }
  for (int level = 0; level < 256; ++level) {
    // Halves between levels and their neighbours.
    const float half = (static_cast<float>(level) + 0.5F) / 255.0F;
    for (const float v : {std::nextafter(half, 0.0F), half, std::nextafter(half, 2.0F)}) {
      pixels.insert(pixels.end(), {v, v, v, 1.0F});
    }
  }
  return pixels;
}

template <typename Sample>
void expectRendering(PixelLayout output, bool opaque, float maximum) {
  const std::vector<float> pixels = renderingPixels();
  const std::size_t count = pixels.size() / 4;
  const Executable executable = compileOne(identity(opaque), kRgbaFloat, output);
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const auto out = valuesOf<Sample>(runRow(executable, {bytesOf(pixels)}, output, count));
    for (std::size_t i = 0; i < count; ++i) {
      const float alpha = opaque ? 1.0F : expectedAlpha(pixels[4 * i + 3]);
      for (std::size_t c = 0; c < output.components; ++c) {
        const float value = c == 3 ? alpha : pixels[4 * i + c];
        ASSERT_EQ(unsigned{out[output.components * i + c]}, expectedLevel(value, alpha, maximum))
            << "component " << c << " of " << value << ", alpha " << alpha << " on " << target;
      }
    }
  }
}

TEST(ExecutablePixels, RenderingTo8BitsLimitsColourToAlpha) {
  expectRendering<std::uint8_t>(kRgba8, false, 255.0F);
}
TEST(ExecutablePixels, RenderingOpaquePixelsTo8BitsLimitsThemToOne) {
  expectRendering<std::uint8_t>(kRgba8, true, 255.0F);
  expectRendering<std::uint8_t>(kRgb8, true, 255.0F);
}
TEST(ExecutablePixels, RenderingWithoutAnAlphaSampleStillLimitsColourToAlpha) {
  expectRendering<std::uint8_t>(kRgb8, false, 255.0F);
  expectRendering<std::uint16_t>(kRgb16, false, 65535.0F);
}
TEST(ExecutablePixels, RenderingTo16BitsLimitsColourToAlpha) {
  expectRendering<std::uint16_t>(kRgba16, false, 65535.0F);
  expectRendering<std::uint16_t>(kRgba16, true, 65535.0F);
}

TEST(ExecutablePixels, FloatsComeOutAsTheyAre) {
  const std::vector<float> pixels = renderingPixels();
  const Executable executable = compileOne(identity(false), kRgbaFloat, kRgbaFloat);
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const auto out =
        valuesOf<float>(runRow(executable, {bytesOf(pixels)}, kRgbaFloat, pixels.size() / 4));
    for (std::size_t i = 0; i < out.size(); ++i) {
      if (std::isnan(pixels[i])) {
        ASSERT_TRUE(std::isnan(out[i])) << target;
      } else {
        ASSERT_EQ(std::bit_cast<std::uint32_t>(out[i]), std::bit_cast<std::uint32_t>(pixels[i]));
      }
    }
  }
}

TEST(ExecutablePixels, ASourceWithoutAlphaIsOpaque) {
  Builder b;
  const ValueId alpha = b.input(0, 3);
  const Executable executable =
      compileOne(b.finish({alpha, b.input(0, 2), b.input(0, 1), alpha}), kRgb8, kRgba8);
  const std::vector<std::uint8_t> pixel{10, 20, 30};
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const auto out = valuesOf<std::uint8_t>(runRow(executable, {bytesOf(pixel)}, kRgba8, 1));
    EXPECT_EQ(out, (std::vector<std::uint8_t>{255, 30, 20, 255})) << target;
  }
}

// Rows of every length up to more than two blocks of the widest vectors, in memory of just that
// size; the guard bytes around the output are checked by runRow, reads beyond by the sanitizers.
TEST(ExecutablePixels, RowsOfEveryLengthEndWhereTheyEnd) {
  const std::vector<PixelLayout> layouts{kRgb8, kRgba8, kRgb16, kRgba16, kRgbaFloat};
  std::mt19937 random(4);
  for (const PixelLayout& layout : layouts) {
    for (const PixelLayout& output : {kRgb8, kRgba8, kRgb16, kRgbaFloat}) {
      const Executable executable = compileOne(rotation(false), layout, output);
      for (std::size_t pixels = 1; pixels <= 270; ++pixels) {
        std::vector<std::byte> row(pixels * layout.pixelBytes());
        for (std::byte& byte : row) byte = static_cast<std::byte>(random() % 60);
        std::vector<std::byte> expected;
        {
          const ForcedTarget forced("SCALAR");
          expected = runRow(executable, {row}, output, pixels);
        }
        for (const std::string& target : targets()) {
          const ForcedTarget forced(target);
          ASSERT_EQ(runRow(executable, {row}, output, pixels), expected)
              << pixels << " pixels on " << target;
        }
      }
    }
  }
}

TEST(ExecutablePixels, ARunOfNoPixelsTouchesNothing) {
  const Executable executable = compileOne(rotation(true), kRgb8, kRgb8);
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    EXPECT_TRUE(runRow(executable, {{}}, kRgb8, 0).empty());
  }
}

TEST(ExecutablePixels, OutputMayReplaceItsInput) {
  std::mt19937 random(9);
  std::vector<std::byte> row(3 * 1001);
  for (std::byte& byte : row) byte = static_cast<std::byte>(random());
  for (const Program& program : {rotation(true), identity(true)}) {
    const Executable executable = compileOne(program, kRgb8, kRgb8);
    for (const std::string& target : targets()) {
      const ForcedTarget forced(target);
      const std::vector<std::byte> expected = runRow(executable, {row}, kRgb8, 1001);
      std::vector<std::byte> inPlace = row;
      const std::array<const std::byte*, 1> inputs{inPlace.data()};
      executable.run(inputs, inPlace.data(), 1001, 0, 0);
      ASSERT_EQ(inPlace, expected) << target;
    }
  }
}

TEST(ExecutableTables, SeparateChannelsBecomeTablesWithTheGeneralResult) {
  Builder b;
  const auto curve = [&](std::uint32_t c, float gain) {
    const ValueId scaled = b.binary(Op::mul, b.input(0, c), b.constant(gain));
    return b.binary(Op::sub, b.unary(Op::sqrt, scaled), b.constant(0.1F));
  };
  const Program program =
      b.finish({curve(0, 1.0F), curve(1, 1.5F), curve(2, 0.5F), b.constant(1.0F)});
  std::vector<std::uint8_t> row;
  for (int i = 0; i < 2048; ++i) {
    for (int c = 0; c < 3; ++c)
      row.push_back(static_cast<std::uint8_t>((i * (c + 3) + i / 7) % 256));
  }
  for (const PixelLayout& output : {kRgb8, kRgba8}) {
    const Executable tables = compileOne(program, kRgb8, output);
    ASSERT_TRUE(tables.usesTables());
    // The same levels with an alpha sample of 255 cannot use tables.
    std::vector<std::uint8_t> withAlpha;
    for (std::size_t i = 0; i < row.size(); i += 3) {
      withAlpha.insert(withAlpha.end(), {row[i], row[i + 1], row[i + 2], 255});
    }
    const Executable general = compileOne(program, kRgba8, output);
    ASSERT_FALSE(general.usesTables());
    for (const std::string& target : targets()) {
      const ForcedTarget forced(target);
      for (std::size_t pixels = 2048; pixels > 1800; --pixels) {
        const auto source =
            bytesOf(std::vector(row.begin(), row.begin() + static_cast<long>(3 * pixels)));
        const auto sourceWithAlpha = bytesOf(
            std::vector(withAlpha.begin(), withAlpha.begin() + static_cast<long>(4 * pixels)));
        ASSERT_EQ(runRow(tables, {source}, output, pixels),
                  runRow(general, {sourceWithAlpha}, output, pixels))
            << pixels << " pixels on " << target;
      }
    }
  }
}

TEST(ExecutableTables, EveryLevelOfEveryChannelIsLookedUp) {
  Builder b;
  const auto inverted = [&](std::uint32_t c) {
    return b.binary(Op::sub, b.constant(1.0F), b.input(0, c));
  };
  const Executable executable = compileOne(
      b.finish({inverted(0), b.input(0, 1), inverted(2), b.constant(1.0F)}), kRgb8, kRgb8);
  ASSERT_TRUE(executable.usesTables());
  std::vector<std::uint8_t> row;
  std::vector<std::uint8_t> expected;
  for (unsigned i = 0; i < 3000; ++i) {
    const auto r = static_cast<std::uint8_t>(i * 7);
    const auto g = static_cast<std::uint8_t>(i * 11 + 5);
    const auto blue = static_cast<std::uint8_t>(i * 13 + 77);
    row.insert(row.end(), {r, g, blue});
    expected.insert(expected.end(),
                    {static_cast<std::uint8_t>(255 - r), g, static_cast<std::uint8_t>(255 - blue)});
  }
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    EXPECT_EQ(valuesOf<std::uint8_t>(runRow(executable, {bytesOf(row)}, kRgb8, 3000)), expected)
        << target;
  }
}

TEST(ExecutableTables, AreNotUsedWhereAChannelDependsOnMoreThanItself) {
  const auto usesTables = [](const std::function<Pixel(Builder&)>& build, PixelLayout input,
                             PixelLayout output) {
    Builder b;
    const Pixel pixel = build(b);
    return compileOne(b.finish(pixel), input, output).usesTables();
  };
  const auto plain = [](Builder& b) {
    return Pixel{b.input(0, 0), b.input(0, 1), b.input(0, 2), b.constant(1.0F)};
  };
  EXPECT_TRUE(usesTables(plain, kRgb8, kRgb8));
  EXPECT_TRUE(usesTables(plain, kRgb8, kRgba8));
  EXPECT_FALSE(usesTables(plain, kRgba8, kRgba8));
  EXPECT_FALSE(usesTables(plain, kRgb16, kRgb8));
  EXPECT_FALSE(usesTables(plain, kRgb8, kRgb16));
  const auto mixedChannels = [](Builder& b) {
    return Pixel{b.binary(Op::add, b.input(0, 0), b.input(0, 1)), b.input(0, 1), b.input(0, 2),
                 b.constant(1.0F)};
  };
  EXPECT_FALSE(usesTables(mixedChannels, kRgb8, kRgb8));
  const auto exchanged = [](Builder& b) {
    return Pixel{b.input(0, 1), b.input(0, 0), b.input(0, 2), b.constant(1.0F)};
  };
  EXPECT_FALSE(usesTables(exchanged, kRgb8, kRgb8));
  const auto byPlace = [](Builder& b) {
    return Pixel{b.binary(Op::mul, b.input(0, 0), b.destX()), b.input(0, 1), b.input(0, 2),
                 b.constant(1.0F)};
  };
  EXPECT_FALSE(usesTables(byPlace, kRgb8, kRgb8));
  const auto translucent = [](Builder& b) {
    return Pixel{b.input(0, 0), b.input(0, 1), b.input(0, 2), b.constant(0.5F)};
  };
  EXPECT_FALSE(usesTables(translucent, kRgb8, kRgb8));
}

// Bilinear by the definition, in double precision; the executor's single precision may differ by a
// few units in the last place of the numbers involved, all of which are below 1.
constexpr double kSampleTolerance = 4e-7;

double expectedSample(const SampledImage& image, std::size_t component, float x, float y) {
  const auto axis = [](float v, std::uint32_t size) {
    const double last = size - 1.0;
    return std::isnan(v) ? 0.0 : std::clamp(static_cast<double>(v), 0.0, last);
  };
  const double column = axis(x, image.width);
  const double row = axis(y, image.height);
  const auto texel = [&](double c, double r) {
    const auto i = static_cast<std::size_t>(std::min(c, image.width - 1.0));
    const auto j = static_cast<std::size_t>(std::min(r, image.height - 1.0));
    return static_cast<double>((*image.pixels)[4 * (j * image.width + i) + component]);
  };
  const double c0 = std::floor(column);
  const double r0 = std::floor(row);
  const double fx = column - c0;
  const double fy = row - r0;
  const double top = texel(c0, r0) * (1 - fx) + texel(c0 + 1, r0) * fx;
  const double bottom = texel(c0, r0 + 1) * (1 - fx) + texel(c0 + 1, r0 + 1) * fx;
  return top * (1 - fy) + bottom * fy;
}

SampledImage noise(std::uint32_t width, std::uint32_t height) {
  std::mt19937 random(width * 31 + height);
  auto pixels = std::make_shared<std::vector<float>>();
  for (std::size_t i = 0; i < std::size_t{4} * width * height; ++i) {
    pixels->push_back(static_cast<float>(random() % 256) / 255.0F);
  }
  return {width, height, std::move(pixels)};
}

TEST(ExecutableImages, AreInterpolatedBetweenTexelsAndHeldAtTheEdges) {
  std::vector<float> pixels;
  const std::vector<float> special{0.0F,   -0.0F,  0.5F,      1.0F,      3.25F, 4.0F,
                                   254.5F, 255.0F, 255.5F,    256.0F,    1e10F, -1.0F,
                                   -1e10F, kNan,   kInfinity, -kInfinity};
  for (const float x : special) {
    for (const float y : special) pixels.insert(pixels.end(), {x, y, 0.0F, 0.0F});
  }
  std::mt19937 random(2);
  std::uniform_real_distribution<float> within(-2.0F, 258.0F);
  for (int i = 0; i < 3000; ++i)
    pixels.insert(pixels.end(), {within(random), within(random) / 30.0F, 0.0F, 0.0F});
  for (const auto& [width, height] :
       {std::pair{256U, 1U}, {256U, 3U}, {1U, 1U}, {1U, 5U}, {7U, 6U}}) {
    const SampledImage image = noise(width, height);
    for (const std::uint32_t components : {1U, 2U, 4U}) {
      Builder b;
      Pixel out{b.constant(0.0F), b.constant(0.0F), b.constant(0.0F), b.constant(0.0F)};
      for (std::uint32_t c = 0; c < components; ++c) {
        out[c] = b.sampleImage(0, c, b.input(0, 0), b.input(0, 1));
      }
      const std::array inputs{kRgbaFloat};
      const Executable executable = Executable::compile(b.finish(out), inputs, kRgbaFloat, {image});
      for (const std::string& target : targets()) {
        const ForcedTarget forced(target);
        const auto results =
            valuesOf<float>(runRow(executable, {bytesOf(pixels)}, kRgbaFloat, pixels.size() / 4));
        for (std::size_t i = 0; i < pixels.size(); i += 4) {
          for (std::size_t c = 0; c < components; ++c) {
            ASSERT_NEAR(static_cast<double>(results[i + c]),
                        expectedSample(image, c, pixels[i], pixels[i + 1]), kSampleTolerance)
                << pixels[i] << ", " << pixels[i + 1] << " of " << width << 'x' << height << " on "
                << target;
          }
        }
      }
    }
  }
}

TEST(ExecutableImages, WholeCoordinatesGiveTheTexelItself) {
  const SampledImage image = noise(256, 1);
  Builder b;
  const ValueId x = b.binary(Op::mul, b.input(0, 0), b.constant(255.0F));
  const ValueId y = b.constant(0.5F);
  Pixel out{};
  for (std::uint32_t c = 0; c < 4; ++c) out[c] = b.sampleImage(0, c, x, y);
  const std::array inputs{kRgba8};
  const Executable executable = Executable::compile(b.finish(out), inputs, kRgbaFloat, {image});
  std::vector<std::uint8_t> row;
  for (int i = 0; i < 256; ++i) row.insert(row.end(), {static_cast<std::uint8_t>(i), 0, 0, 0});
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    EXPECT_EQ(valuesOf<float>(runRow(executable, {bytesOf(row)}, kRgbaFloat, 256)), *image.pixels)
        << target;
  }
}

TEST(ExecutableImages, WithoutPixelsReadAsZero) {
  Builder b;
  const ValueId v = b.sampleImage(0, 1, b.input(0, 0), b.input(0, 1));
  const std::array inputs{kRgbaFloat};
  const Executable executable =
      Executable::compile(b.finish({v, v, v, v}), inputs, kRgbaFloat, {SampledImage{}});
  const std::vector<float> pixel{1.0F, 1.0F, 1.0F, 1.0F};
  EXPECT_EQ(valuesOf<float>(runRow(executable, {bytesOf(pixel)}, kRgbaFloat, 1)),
            (std::vector<float>{0.0F, 0.0F, 0.0F, 0.0F}));
}

TEST(ExecutableTargets, CanBeForcedByNameAndLeftAgain) {
  const std::vector<std::string> names = targets();
  ASSERT_FALSE(names.empty());
  EXPECT_EQ(names.back(), "SCALAR");
  EXPECT_EQ(currentTarget(), names.front());
  for (const std::string& name : names) {
    EXPECT_TRUE(forceTarget(name));
    EXPECT_EQ(currentTarget(), name);
  }
  EXPECT_FALSE(forceTarget("ABACUS"));
  EXPECT_TRUE(forceTarget(""));
  EXPECT_EQ(currentTarget(), names.front());
}

}  // namespace
}  // namespace kelvo::kernel_language
