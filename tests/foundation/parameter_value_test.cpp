#include "platform/foundation/parameter_value.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <string>

namespace {

// Counts what the conversions take from the heap.
std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace kelvo {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kHighest = std::numeric_limits<int>::max();
constexpr int kLowest = std::numeric_limits<int>::min();

TEST(IntValue, ReadsASignAndDigits) {
  EXPECT_EQ(intValue("0"), 0);
  EXPECT_EQ(intValue("16"), 16);
  EXPECT_EQ(intValue("-7"), -7);
  EXPECT_EQ(intValue("+42"), 42);
  EXPECT_EQ(intValue("0016"), 16);
}

TEST(IntValue, PassesOverLeadingWhiteSpace) {
  EXPECT_EQ(intValue(" 16"), 16);
  EXPECT_EQ(intValue("\t\n\v\f\r -3"), -3);
  EXPECT_EQ(intValue("- 3"), 0);
}

TEST(IntValue, IgnoresWhatFollowsTheDigits) {
  EXPECT_EQ(intValue("16.9"), 16);
  EXPECT_EQ(intValue("16abc"), 16);
  EXPECT_EQ(intValue("1e3"), 1);
  EXPECT_EQ(intValue("0x10"), 0);
  EXPECT_EQ(intValue("16 17"), 16);
}

TEST(IntValue, ReadsTextWithoutANumberAsZero) {
  for (const char* text : {"", " ", "abc", "-", "+", "--1", "+-1", ".5", "inf",
                           "\xC2\xA0"
                           "5"}) {
    EXPECT_EQ(intValue(text), 0) << text;
  }
}

TEST(IntValue, IsLimitedToTheRangeOfInt) {
  EXPECT_EQ(intValue("2147483647"), kHighest);
  EXPECT_EQ(intValue("2147483648"), kHighest);
  EXPECT_EQ(intValue("99999999999999999999999999"), kHighest);
  EXPECT_EQ(intValue("-2147483648"), kLowest);
  EXPECT_EQ(intValue("-2147483649"), kLowest);
  EXPECT_EQ(intValue("-99999999999999999999999999"), kLowest);
}

TEST(DoubleValue, ReadsFractionsAndExponents) {
  EXPECT_EQ(doubleValue("128.0"), 128.0);
  EXPECT_EQ(doubleValue("0.0581305"), 0.0581305);
  EXPECT_EQ(doubleValue("-12.5"), -12.5);
  EXPECT_EQ(doubleValue("+12.5"), 12.5);
  EXPECT_EQ(doubleValue(".5"), 0.5);
  EXPECT_EQ(doubleValue("5."), 5.0);
  EXPECT_EQ(doubleValue("1e3"), 1000.0);
  EXPECT_EQ(doubleValue("1E+3"), 1000.0);
  EXPECT_EQ(doubleValue("25e-1"), 2.5);
}

TEST(DoubleValue, RoundsToTheNearestDouble) {
  EXPECT_EQ(doubleValue("0.1"), 0.1);
  EXPECT_EQ(doubleValue("9007199254740993"), 9007199254740992.0);  // halfway, to even
  EXPECT_EQ(doubleValue("2.2250738585072011e-308"), 2.2250738585072011e-308);
}

TEST(DoubleValue, TakesAnExponentOnlyIfItHasDigits) {
  EXPECT_EQ(doubleValue("2e"), 2.0);
  EXPECT_EQ(doubleValue("2e+"), 2.0);
  EXPECT_EQ(doubleValue("2ex"), 2.0);
}

TEST(DoubleValue, PassesOverLeadingWhiteSpaceAndIgnoresTheRest) {
  EXPECT_EQ(doubleValue(" \t\n2.5"), 2.5);
  EXPECT_EQ(doubleValue("2.5 percent"), 2.5);
  EXPECT_EQ(doubleValue("2.5.5"), 2.5);
  EXPECT_EQ(doubleValue("2,5"), 2.0);
}

TEST(DoubleValue, ReadsTextWithoutANumberAsZero) {
  for (const char* text : {"", "  ", "abc", ".", "-", "-.", "e5", ".e5", "--1", "-+1", "+ 1"}) {
    EXPECT_EQ(doubleValue(text), 0.0) << text;
  }
}

TEST(DoubleValue, KnowsNoNamesAndNoHexadecimal) {
  for (const char* text : {"inf", "-inf", "infinity", "nan", "NAN(1)", "INF"}) {
    EXPECT_EQ(doubleValue(text), 0.0) << text;
  }
  EXPECT_EQ(doubleValue("0x1p4"), 0.0);
}

TEST(DoubleValue, IsAnInfinityBeyondTheRange) {
  EXPECT_EQ(doubleValue("1e309"), kInfinity);
  EXPECT_EQ(doubleValue("-1e309"), -kInfinity);
  EXPECT_EQ(doubleValue("1e99999999999999999999"), kInfinity);
  EXPECT_EQ(doubleValue(std::string(400, '9')), kInfinity);
  EXPECT_EQ(doubleValue("0.0001e320"), kInfinity);
  EXPECT_EQ(doubleValue("1.7976931348623157e308"), std::numeric_limits<double>::max());
}

TEST(DoubleValue, IsZeroBelowTheRange) {
  EXPECT_EQ(doubleValue("1e-400"), 0.0);
  EXPECT_EQ(doubleValue("-1e-400"), 0.0);
  EXPECT_TRUE(std::signbit(doubleValue("-1e-400")));
  EXPECT_EQ(doubleValue("1e-99999999999999999999"), 0.0);
  EXPECT_EQ(doubleValue("0." + std::string(400, '0') + "1"), 0.0);
  EXPECT_EQ(doubleValue("100000e-400"), 0.0);
  EXPECT_EQ(doubleValue("0e999999"), 0.0);
}

TEST(DoubleValue, KeepsLongDigitStringsInRange) {
  EXPECT_EQ(doubleValue("0." + std::string(400, '0') + "1e401"), 1.0);
  EXPECT_EQ(doubleValue("1" + std::string(400, '0') + "e-400"), 1.0);
}

TEST(FloatValue, IsTheDoubleRoundedToSinglePrecision) {
  EXPECT_EQ(floatValue("0.1"), 0.1F);
  EXPECT_EQ(floatValue("16777217"), 16777216.0F);
  EXPECT_EQ(floatValue("191.000000"), 191.0F);
  EXPECT_EQ(floatValue("1e39"), std::numeric_limits<float>::infinity());
}

TEST(Conversions, AreTheSameInALocaleWithADecimalComma) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  // The result must not depend on whether such a locale is installed.
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8"}) {
    if (std::setlocale(LC_ALL, name) != nullptr) {
      break;
    }
  }
  EXPECT_EQ(doubleValue("0.5"), 0.5);
  EXPECT_EQ(doubleValue("0,5"), 0.0);
  EXPECT_EQ(ParameterValue(0.5).stringValue(), "0.5");
  std::setlocale(LC_ALL, before.c_str());
}

TEST(Conversions, AllocateNothing) {
  ParameterDictionary parameters;
  parameters.setObject_forKey("128.5", "a key that is longer than any short string");
  const std::size_t before = allocations;
  const double sum = doubleValue("1.5e2") + intValue("12") + static_cast<double>(floatValue("2")) +
                     doubleValue("1e999") +
                     parameters.doubleValue("a key that is longer than any short string") +
                     parameters.intValue("absent");
  EXPECT_EQ(allocations, before);
  EXPECT_EQ(sum, kInfinity);
}

TEST(ParameterValue, ReadsANumberAndItsTextAlike) {
  const double numbers[] = {0.0, 2.0, 128.0, -100.0, 0.0581305, 1e21, 12.75};
  for (const double number : numbers) {
    const ParameterValue object(number);
    const ParameterValue text(object.stringValue());
    EXPECT_EQ(text.doubleValue(), number);
    EXPECT_EQ(object.doubleValue(), number);
    EXPECT_EQ(text.floatValue(), object.floatValue());
  }
  EXPECT_EQ(ParameterValue(std::int64_t{16}).intValue(), ParameterValue("16").intValue());
}

TEST(ParameterValue, TruncatesNumbersTowardsZeroAndLimitsThem) {
  EXPECT_EQ(ParameterValue(2.9).intValue(), 2);
  EXPECT_EQ(ParameterValue(-2.9).intValue(), -2);
  EXPECT_EQ(ParameterValue(1e10).intValue(), kHighest);
  EXPECT_EQ(ParameterValue(-1e10).intValue(), kLowest);
  EXPECT_EQ(ParameterValue(std::nan("")).intValue(), 0);
  EXPECT_EQ(ParameterValue(std::int64_t{1} << 40).intValue(), kHighest);
  EXPECT_EQ(ParameterValue(-(std::int64_t{1} << 40)).intValue(), kLowest);
}

TEST(ParameterValue, WritesNumbersShortAndExactly) {
  EXPECT_EQ(ParameterValue(128.0).stringValue(), "128");
  EXPECT_EQ(ParameterValue(0.1).stringValue(), "0.1");
  EXPECT_EQ(ParameterValue(1.0 / 3.0).stringValue(), "0.3333333333333333");
  EXPECT_EQ(ParameterValue(std::int64_t{-5}).stringValue(), "-5");
  EXPECT_EQ(ParameterValue(true).stringValue(), "1");
  EXPECT_EQ(ParameterValue("as it is ").stringValue(), "as it is ");
}

TEST(ParameterDictionary, ReadsAnAbsentKeyAsZeroAndAsEmpty) {
  const ParameterDictionary parameters;
  EXPECT_EQ(parameters.objectForKey("x"), nullptr);
  EXPECT_EQ(parameters.intValue("x"), 0);
  EXPECT_EQ(parameters.doubleValue("x"), 0.0);
  EXPECT_EQ(parameters.stringValue("x"), "");
}

TEST(ParameterDictionary, ReplacesTheValueUnderAKey) {
  ParameterDictionary parameters;
  parameters.setObject_forKey("2.0", "posterizeSlider");
  parameters.setObject_forKey(4.0, "posterizeSlider");
  EXPECT_EQ(parameters.all().size(), 1U);
  EXPECT_EQ(parameters.doubleValue("posterizeSlider"), 4.0);
  EXPECT_EQ(parameters.stringValue("posterizeSlider"), "4");
}

}  // namespace
}  // namespace kelvo
