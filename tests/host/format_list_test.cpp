#include "host/arguments/format_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/image_io/codec.h"

namespace kelvo::host {
namespace {

using testing::Contains;
using testing::Field;
using testing::HasSubstr;

TEST(FormatList, TellsOfEveryCodecAndOfNoOther) {
  for (const Codec& codec : codecs()) {
    const auto found =
        std::ranges::find(formatDescriptions(), codec.displayName, &FormatDescription::name);
    ASSERT_NE(found, formatDescriptions().end()) << codec.displayName;
    EXPECT_EQ(found->type, codec.type);
    EXPECT_EQ(found->read.empty(), codec.createWriter == nullptr) << codec.displayName;
    EXPECT_EQ(found->kept.empty(), codec.createWriter == nullptr) << codec.displayName;
  }
  for (const FormatDescription& format : formatDescriptions()) {
    EXPECT_THAT(codecs(), Contains(Field(&Codec::type, format.type))) << format.name;
  }
}

TEST(FormatList, IsNoWiderThanATerminalAndHoldsEveryWord) {
  const std::string text = formatListText();
  std::istringstream lines(text);
  std::string joined;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 78U) << line;
    joined += line.substr(std::min(line.find_first_not_of(' '), line.size())) + ' ';
  }
  for (const FormatDescription& format : formatDescriptions()) {
    EXPECT_THAT(joined, HasSubstr(format.name));
    EXPECT_THAT(joined, HasSubstr(format.read));
    for (const std::string_view thing : format.kept) EXPECT_THAT(joined, HasSubstr(thing));
  }
}

TEST(FormatList, RecordsHoldWhatTheTextTells) {
  std::istringstream lines(formatListJson());
  auto format = formatDescriptions().begin();
  for (std::string line; std::getline(lines, line); ++format) {
    ASSERT_NE(format, formatDescriptions().end());
    const auto record = nlohmann::json::parse(line);
    EXPECT_EQ(record["format"], format->name);
    EXPECT_EQ(record["type"], format->type);
    EXPECT_EQ(record["read"], format->read);
    EXPECT_EQ(record["written"], !format->read.empty());
    EXPECT_EQ(record["kept"].get<std::vector<std::string>>(),
              std::vector<std::string>(format->kept.begin(), format->kept.end()));
  }
  EXPECT_EQ(format, formatDescriptions().end());
}

}  // namespace
}  // namespace kelvo::host
