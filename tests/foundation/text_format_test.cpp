#include "platform/foundation/text_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kelvo {
namespace {

TEST(FormatF, WritesSixDecimals) {
  EXPECT_EQ(formatF(128), "128.000000");
  EXPECT_EQ(formatF(-2.5), "-2.500000");
  EXPECT_EQ(formatF(0.0581305), "0.058131");
  EXPECT_EQ(formatF(-0.0), "-0.000000");
}

TEST(FormatF, RoundsTheExactValueToNearest) {
  EXPECT_EQ(formatF(2.0000004), "2.000000");
  EXPECT_EQ(formatF(2.0000006), "2.000001");
  EXPECT_EQ(formatF(0.0000005), "0.000000");  // the double lies just below the half
  EXPECT_EQ(formatF(0.5 / 1048576), "0.000000");
  EXPECT_EQ(formatF(0.0000125), "0.000013");  // and this one just above
}

TEST(FormatF, WritesEveryDigitOfTheLargest) {
  const std::string text = formatF(std::numeric_limits<double>::max());
  EXPECT_EQ(text.size(), 309U + 7U);
  EXPECT_EQ(text.substr(0, 17), "17976931348623157");
  EXPECT_EQ(formatF(std::numeric_limits<double>::lowest()), "-" + text);
}

TEST(FormatF, NamesWhatIsNoNumber) {
  EXPECT_EQ(formatF(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(formatF(-std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(formatF(std::copysign(std::nan(""), 1.0)), "nan");
}

}  // namespace
}  // namespace kelvo
