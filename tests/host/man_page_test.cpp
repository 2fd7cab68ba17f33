#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "host/arguments/adjustments.h"
#include "host/arguments/help.h"
#include "host/arguments/run_options.h"

namespace kelvo::host {
namespace {

using testing::HasSubstr;

// The manual as it reads, without the backslashes in front of its hyphens.
std::string manual() {
  std::ifstream file(KELVO_SOURCE_DIR "/docs/man/kelvo.1");
  std::string text((std::istreambuf_iterator<char>(file)), {});
  std::erase(text, '\\');
  return text;
}

TEST(ManPage, TellsEveryOption) {
  const std::string text = manual();
  for (const RunOption& option : runOptions()) {
    const std::size_t comma = option.names.find(',');
    if (comma != std::string_view::npos) {
      EXPECT_THAT(text, HasSubstr("\n.BR " + std::string(option.names.substr(0, comma)) +
                                  " \", \" " + std::string(longName(option.names))));
    } else {
      EXPECT_THAT(text, testing::AnyOf(HasSubstr("\n.B " + std::string(option.names) + "\n"),
                                       HasSubstr("\n.BI " + std::string(option.names) + " \" " +
                                                 std::string(option.value) + "\"\n")));
    }
  }
}

TEST(ManPage, TellsEveryAdjustmentItsSettingsAndTheirRanges) {
  const std::string text = manual();
  const std::string valueNames[] = {" \" N\"\n", " \" COLOR\"\n", " \" POINTS\"\n"};
  for (const Adjustment& adjustment : adjustments()) {
    EXPECT_THAT(text, HasSubstr("\n.SS " + std::string(adjustment.name) + "\n"));
    for (const Setting& setting : adjustment.settings) {
      const bool color = setting.kind == SettingKind::color;
      EXPECT_THAT(text,
                  HasSubstr("\n.BI --" + std::string(setting.option) +
                            valueNames[static_cast<std::size_t>(setting.kind)] +
                            std::string(setting.help) + (color ? "" : " (" + rangeText(setting))));
    }
  }
}

TEST(ManPage, NamesNoOptionThatThereIsNot) {
  std::string known = "--help --version --set --worker --output";
  for (const RunOption& option : runOptions()) {
    known.append(" ").append(option.names);
  }
  for (const Adjustment& adjustment : adjustments()) {
    for (const Setting& setting : adjustment.settings) {
      known.append(" --").append(setting.option);
    }
  }
  std::replace(known.begin(), known.end(), ',', ' ');
  known += " ";
  const std::string text = manual();
  for (std::size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2)) {
    const std::size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-", at);
    const std::string name = text.substr(at, end - at);
    if (name != "--") {
      EXPECT_THAT(known, HasSubstr(name + " "));
    }
  }
}

}  // namespace
}  // namespace kelvo::host
