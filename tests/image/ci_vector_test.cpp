#include "platform/image/ci_vector.h"

#include <gtest/gtest.h>

#include <clocale>

namespace kelvo {
namespace {

TEST(CIVector, ReadsFourNumbersFromABracketedText) {
  EXPECT_EQ(CIVector::vectorWithString("[1.000000 -0.500000 0.250000 0.000000]"),
            CIVector::vectorWithX_Y_Z_W(1, -0.5, 0.25, 0));
}

TEST(CIVector, AcceptsCommasSignsExponentsAndMissingBrackets) {
  EXPECT_EQ(CIVector::vectorWithString("+1, 2e-1,3"), CIVector::vectorWithX_Y_Z(1, 0.2, 3));
}

TEST(CIVector, StopsAtTheFirstThingThatIsNoNumber) {
  EXPECT_EQ(CIVector::vectorWithString("[1 2 three 4]"), CIVector::vectorWithX_Y(1, 2));
  EXPECT_EQ(CIVector::vectorWithString("nothing").count(), 0U);
  EXPECT_EQ(CIVector::vectorWithString("").count(), 0U);
  EXPECT_EQ(CIVector::vectorWithString("[+").count(), 0U);
}

TEST(CIVector, ReadsThePointAsDecimalSeparatorWhateverTheLocale) {
  for (const char* name : {"de_DE.UTF-8", "C.UTF-8", "C"}) {
    std::setlocale(LC_ALL, name);
    EXPECT_EQ(CIVector::vectorWithString("[0.5 1.25]"), CIVector::vectorWithX_Y(0.5, 1.25));
  }
  std::setlocale(LC_ALL, "C");
}

TEST(CIVector, GivesZeroForComponentsThatAreNotThere) {
  const CIVector vector = CIVector::vectorWithX_Y(7, 8);
  EXPECT_EQ(vector.X(), 7);
  EXPECT_EQ(vector.Y(), 8);
  EXPECT_EQ(vector.Z(), 0);
  EXPECT_EQ(vector.W(), 0);
}

TEST(CIVector, WritesATextThatReadsBackTheSame) {
  const CIVector vector({0.1, -1e-30, 12345678.9, 1.0 / 3});
  EXPECT_EQ(CIVector::vectorWithString(vector.stringRepresentation()), vector);
  EXPECT_EQ(CIVector::vectorWithX_Y(1, 0.5).stringRepresentation(), "[1 0.5]");
}

}  // namespace
}  // namespace kelvo
