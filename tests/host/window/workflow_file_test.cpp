#include "host/window/workflow_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/temporary_directory.h"

namespace kelvo::window {
namespace {

using kelvo::testing::readFile;
using kelvo::testing::writeFile;

ParameterDictionary dictionary(std::initializer_list<std::pair<const char*, const char*>> entries) {
  ParameterDictionary parameters;
  for (const auto& [key, value] : entries) {
    parameters.setObject_forKey(value, key);
  }
  return parameters;
}

class WorkflowFileTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string path() const { return directory_.file("a.kelvo"); }
  void write(const std::string& text) const { writeFile(path(), text); }
  std::string failureToOpen(const std::string& text) {
    write(text);
    const auto opened = file_.open(path());
    return opened ? "opened" : opened.error().message;
  }

  kelvo::testing::TemporaryDirectory directory_;
  WorkflowFile file_{"Kelvo Images", dictionary({{"filterPopUp", "0"}, {"a", "1"}})};
};

TEST_F(WorkflowFileTest, BeginsWithTheDefaultsUnchanged) {
  EXPECT_EQ(file_.document(),
            (WorkflowDocument{{{"Kelvo Images", dictionary({{"filterPopUp", "0"}, {"a", "1"}})}}}));
  EXPECT_FALSE(file_.changed());
  EXPECT_FALSE(file_.changedOnDisk());
  EXPECT_TRUE(file_.editable());
  EXPECT_EQ(file_.path(), "");
}

TEST_F(WorkflowFileTest, IsChangedByAnotherValueAndNotByAnotherWayToWriteIt) {
  file_.parameters()->setObject_forKey("1.000000", "a");
  EXPECT_FALSE(file_.changed());
  file_.parameters()->setObject_forKey("2", "a");
  EXPECT_TRUE(file_.changed());
  file_.parameters()->setObject_forKey("1", "a");
  EXPECT_FALSE(file_.changed());
  file_.parameters()->setObject_forKey("0", "b");
  EXPECT_TRUE(file_.changed());
}

TEST(SameSettings, ComparesNumbersAndListsOfThem) {
  const auto points = [](const char* text) { return dictionary({{"rgbPoints", text}}); };
  EXPECT_TRUE(sameSettings(points("0 0,95.5 120,191 191"),
                           points("0.000000 0.000000,95.500001 120.000000,191.000000 191.000000")));
  EXPECT_FALSE(sameSettings(points("0 0,191 191"), points("0 0,191 190")));
  EXPECT_FALSE(sameSettings(points("0 0,191 191"), points("0 0,95 95,191 191")));
  EXPECT_FALSE(sameSettings(points("0 0"), points("0 0,191 191")));
  EXPECT_FALSE(sameSettings(points("red"), points("blue")));
  EXPECT_TRUE(sameSettings(points("red"), points("red")));
  EXPECT_FALSE(sameSettings(points(""), points("0")));
}

TEST_F(WorkflowFileTest, ReadsBackWhatItSaves) {
  file_.parameters()->setObject_forKey("16", "filterPopUp");
  ASSERT_TRUE(file_.save(path()));
  EXPECT_FALSE(file_.changed());
  EXPECT_EQ(file_.path(), path());
  const auto read = readWorkflow(path());
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, file_.document());

  file_.makeNew();
  EXPECT_EQ(file_.path(), "");
  EXPECT_EQ(file_.parameters()->intValue("filterPopUp"), 0);
  ASSERT_TRUE(file_.open(path()));
  EXPECT_EQ(file_.parameters()->intValue("filterPopUp"), 16);
}

constexpr const char* kThree = R"({"format": 1, "actions": [
  {"action": "Other", "parameters": {"x": 1.5, "text": "a, b"}},
  {"action": "Kelvo Images", "parameters": {"filterPopUp": "13"}},
  {"action": "Kelvo Images", "parameters": {"filterPopUp": "16", "posterizeSlider": 4}}]})";

TEST_F(WorkflowFileTest, EditsOneOfSeveralActionsAndKeepsTheOthers) {
  write(kThree);
  const auto before = readWorkflow(path());
  ASSERT_TRUE(before && file_.open(path()));
  EXPECT_EQ(file_.count(), 3U);
  EXPECT_EQ(file_.selected(), 1U) << "the first that the panel knows";
  const auto parameters = file_.parameters();
  file_.select(2);
  EXPECT_EQ(file_.parameters(), parameters) << "the same object for good";
  EXPECT_EQ(parameters->doubleValue("posterizeSlider"), 4);
  parameters->setObject_forKey("8", "posterizeSlider");
  file_.select(0);
  EXPECT_FALSE(file_.editable());
  EXPECT_TRUE(file_.changed());
  ASSERT_TRUE(file_.save(path()));

  WorkflowDocument expected = *before;
  expected.actions[2].parameters.setObject_forKey("8", "posterizeSlider");
  const auto after = readWorkflow(path());
  ASSERT_TRUE(after);
  EXPECT_EQ(*after, expected);
}

TEST_F(WorkflowFileTest, SaysWhatIsWrongWithADocumentAndKeepsItsOwn) {
  file_.parameters()->setObject_forKey("7", "a");
  const WorkflowDocument own = file_.document();
  EXPECT_THAT(failureToOpen("{\"format\": 1,\n  \"actions\": [}"),
              ::testing::HasSubstr("line 2, column 15"));
  EXPECT_EQ(failureToOpen(R"({"format": 2, "actions": []})"),
            "its format is 2, and this version reads format 1 only");
  EXPECT_EQ(failureToOpen(R"({"format": 1, "actions": []})"), "its list of actions is empty");
  EXPECT_FALSE(file_.open(directory_.file("none.kelvo")));
  EXPECT_EQ(file_.document(), own);
  EXPECT_EQ(file_.path(), "");
  EXPECT_TRUE(file_.changed());
}

TEST_F(WorkflowFileTest, NoticesThatSomebodyElseHasWrittenTheFile) {
  ASSERT_TRUE(file_.save(path()));
  EXPECT_FALSE(file_.changedOnDisk());
  write(kThree);
  EXPECT_TRUE(file_.changedOnDisk());
  std::filesystem::remove(path());
  EXPECT_FALSE(file_.changedOnDisk()) << "there is nothing to be lost any more";
}

TEST_F(WorkflowFileTest, LeavesTheOldFileWhenItCannotBeSaved) {
  ASSERT_TRUE(file_.save(path()));
  const std::string old = readFile(path());
  file_.parameters()->setObject_forKey("9", "a");
  EXPECT_FALSE(file_.save(directory_.file("no/such/folder.kelvo")));
  EXPECT_EQ(file_.path(), path());
  EXPECT_TRUE(file_.changed());
  EXPECT_EQ(readFile(path()), old);
}

}  // namespace
}  // namespace kelvo::window
