#include "host/arguments/adjustments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "host/arguments/command_line.h"
#include "host/arguments/help.h"
#include "host/arguments/parameter_keys.h"
#include "host/arguments/setting_values.h"

namespace kelvo::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(Adjustments, AreTheFifteenWithTheirNumbers) {
  std::vector<std::pair<std::string, int>> found;
  for (const Adjustment& adjustment : adjustments()) {
    found.emplace_back(adjustment.name, adjustment.filterNumber);
  }
  EXPECT_THAT(found,
              ElementsAre(std::pair("levels", 0), std::pair("auto", 1), std::pair("curves", 2),
                          std::pair("color-balance", 3), std::pair("brightness-contrast", 4),
                          std::pair("hue-saturation", 6), std::pair("desaturate", 7),
                          std::pair("colorize", 8), std::pair("replace-color", 9),
                          std::pair("channel-mixer", 10), std::pair("exposure", 11),
                          std::pair("invert", 13), std::pair("equalize", 14),
                          std::pair("threshold", 15), std::pair("posterize", 16)));
}

TEST(Adjustments, AreFoundByNameAndNumber) {
  EXPECT_EQ(findAdjustment("posterize")->filterNumber, 16);
  EXPECT_EQ(findAdjustment(13)->name, "invert");
  EXPECT_EQ(findAdjustment("sepia"), nullptr);
  EXPECT_EQ(findAdjustment(5), nullptr);
}

TEST(Adjustments, HaveInitialSettingsInTheirRanges) {
  for (const Adjustment& adjustment : adjustments()) {
    for (const Setting& setting : adjustment.settings) {
      SCOPED_TRACE(std::string(adjustment.name) + " " + std::string(setting.option));
      if (setting.kind == SettingKind::color) {
        EXPECT_TRUE(parseColor(setting.initial));
        continue;
      }
      if (setting.kind == SettingKind::curve) {
        EXPECT_TRUE(parseCurvePoints(setting.initial));
        continue;
      }
      EXPECT_LT(setting.low, setting.high);
      const auto initial = parseNumber(setting.initial);
      ASSERT_TRUE(initial);
      EXPECT_GE(*initial, setting.low);
      EXPECT_LE(*initial, setting.high);
      EXPECT_FALSE(setting.help.empty());
    }
  }
}

TEST(Adjustments, UseNoKeyTwice) {
  std::set<std::string_view> keys;
  for (const Adjustment& adjustment : adjustments()) {
    for (const Setting& setting : adjustment.settings) {
      EXPECT_TRUE(keys.insert(setting.key).second) << setting.key;
    }
  }
}

TEST(Adjustments, KeepCurvesOnTheScaleOfTheCurvesView) {
  const auto command = parseCommandLine({"curves", "--red", "0,255 127.5,51 255,0", "a.jpg"});
  ASSERT_TRUE(command);
  const ParameterDictionary& parameters = std::get<RunAdjustment>(*command).parameters;
  EXPECT_EQ(parameters.stringValue("rN"), "3");
  // 255 levels are 191 units: 127.5 is 95.5, 51 is 38.2.
  EXPECT_EQ(parameters.stringValue("rPoints"),
            "0.000000 191.000000,95.500000 38.200000,191.000000 0.000000");
  EXPECT_EQ(parameters.stringValue("rgbN"), "2");
  EXPECT_EQ(parameters.stringValue("rgbPoints"), "0.000000 0.000000,191.000000 191.000000");
}

TEST(Adjustments, ShowTheInitialColourToTheNearestLevel) {
  const auto shown = parseColor(findAdjustment("colorize")->settings[0].initial);
  ASSERT_TRUE(shown);
  EXPECT_NEAR(shown->red, *parseNumber(initialColorTexts()[0]), 0.5 / 255);
  EXPECT_NEAR(shown->green, *parseNumber(initialColorTexts()[1]), 0.5 / 255);
  EXPECT_EQ(shown->blue, 1);
  EXPECT_EQ(shown->alpha, 1);
}

// The text without its line breaks and indentation.
std::string flowing(const std::string& text) {
  return std::regex_replace(text, std::regex("\\s+"), " ");
}

TEST(Help, TellsEverySettingWithItsRange) {
  const std::string help = flowing(adjustmentHelp(*findAdjustment("hue-saturation")));
  EXPECT_THAT(help, HasSubstr("--hue N"));
  EXPECT_THAT(help, HasSubstr("-180 to 180 degrees, default 0"));
  EXPECT_THAT(help, HasSubstr("--lightness N"));
  EXPECT_THAT(help, HasSubstr("Example: kelvo hue-saturation --saturation 20 photo.jpg"));
  EXPECT_THAT(flowing(adjustmentHelp(*findAdjustment("posterize"))),
              HasSubstr("2 to 64 levels, default 2"));
  EXPECT_THAT(flowing(adjustmentHelp(*findAdjustment("threshold"))),
              HasSubstr("0 to 255 levels, default 128"));
}

TEST(Help, ListsEveryAdjustment) {
  const std::string help = generalHelp();
  for (const Adjustment& adjustment : adjustments()) {
    EXPECT_THAT(help, HasSubstr(std::string(adjustment.name)));
  }
}

TEST(Help, StaysWithinALineOfATerminal) {
  for (const Adjustment& adjustment : adjustments()) {
    const std::string help = adjustmentHelp(adjustment);
    std::size_t start = 0;
    while (start < help.size()) {
      const std::size_t end = help.find('\n', start);
      EXPECT_LE(end - start, 80U) << help.substr(start, end - start);
      start = end + 1;
    }
  }
}

}  // namespace
}  // namespace kelvo::host
