#include "host/arguments/setting_values.h"

#include <gtest/gtest.h>

namespace kelvo::host {
namespace {

TEST(ParseNumber, TakesTheWholeText) {
  EXPECT_EQ(*parseNumber("12"), 12);
  EXPECT_EQ(*parseNumber("-12.5"), -12.5);
  EXPECT_EQ(*parseNumber("+.5e1"), 5);
  for (const char* text : {"", " 1", "1 ", "1x", "1,5", "--1", "-", ".", "e1", "0x10", "1e"}) {
    EXPECT_FALSE(parseNumber(text)) << text;
  }
}

TEST(ParseNumber, RefusesWhatNoNumberCanHold) {
  for (const char* text : {"inf", "nan", "-infinity", "1e999", "-1e999"}) {
    EXPECT_FALSE(parseNumber(text)) << text;
  }
}

TEST(ParseCount, KnowsDecimalSuffixes) {
  EXPECT_EQ(*parseCount("1"), 1U);
  EXPECT_EQ(*parseCount("10k"), 10'000U);
  EXPECT_EQ(*parseCount("2M"), 2'000'000U);
  EXPECT_EQ(*parseCount("1G"), 1'000'000'000U);
  EXPECT_EQ(*parseCount("3t"), 3'000'000'000'000U);
  EXPECT_EQ(*parseCount("18446744073709551615"), 18446744073709551615U);
}

TEST(ParseCount, RefusesZeroSignsFractionsAndOverflow) {
  for (const char* text : {"", "0", "0k", "-1", "+1", "1.5", "1kk", "1x", " 1", "k",
                           "18446744073709551616", "18446744073709552k", "99999999T"}) {
    EXPECT_FALSE(parseCount(text)) << text;
  }
}

TEST(ParseByteCount, KnowsBinarySuffixes) {
  EXPECT_EQ(*parseByteCount("1k"), 1024U);
  EXPECT_EQ(*parseByteCount("4G"), 4294967296U);
}

TEST(ParseColor, ReadsSixOrEightHexadecimalDigits) {
  EXPECT_EQ(*parseColor("#ff0000"), (Color{1, 0, 0, 1}));
  EXPECT_EQ(*parseColor("#0000FF00"), (Color{0, 0, 1, 0}));
  EXPECT_EQ(*parseColor("#336699cc"), (Color{0.2, 0.4, 0.6, 0.8}));
}

TEST(ParseColor, RefusesAnythingElse) {
  for (const char* text : {"", "#", "ff0000", "#ff000", "#ff00000", "#ff000g", "#ff0000000", "red",
                           "#-10000", "# 10000"}) {
    EXPECT_FALSE(parseColor(text)) << text;
  }
}

TEST(ParseCurvePoints, ReadsPointsBetweenBlanks) {
  EXPECT_EQ(*parseCurvePoints("0,0 96,120.5 255,255"),
            (std::vector<CurvePoint>{{0, 0}, {96, 120.5}, {255, 255}}));
  EXPECT_EQ(*parseCurvePoints("  0,255   255,0 "), (std::vector<CurvePoint>{{0, 255}, {255, 0}}));
}

TEST(ParseCurvePoints, SaysWhatIsWrong) {
  const auto why = [](const char* text) {
    const auto points = parseCurvePoints(text);
    return points ? std::string("accepted") : points.error().message;
  };
  EXPECT_EQ(why(""), "a curve needs at least two points");
  EXPECT_EQ(why("0,0"), "a curve needs at least two points");
  EXPECT_EQ(why("0,0 5"), "'5' is not a point like 96,120");
  EXPECT_EQ(why("0,0 5,6,7"), "'5,6,7' is not a point like 96,120");
  EXPECT_EQ(why("0,0 256,5"), "the point '256,5' is outside the levels 0 to 255");
  EXPECT_EQ(why("0,-1 5,5"), "the point '0,-1' is outside the levels 0 to 255");
  EXPECT_EQ(why("5,0 5,5"), "the point '5,5' is not to the right of the one before");
}

}  // namespace
}  // namespace kelvo::host
