#include "platform/foundation/ns_bundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace kelvo {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class Bundle : public testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::path(testing::TempDir()) / ("bundle-" + std::to_string(::getpid()));
    fs::remove_all(root_);
    fs::create_directories(contents() / "Linux");
    fs::create_directories(contents() / "Resources");
  }
  void TearDown() override { fs::remove_all(root_); }

  [[nodiscard]] fs::path contents() const { return root_ / "Test.action" / "Contents"; }
  void info(const std::string& text) const { std::ofstream(contents() / "Info.json") << text; }
  [[nodiscard]] Result<std::shared_ptr<NSBundle>> open() const {
    return NSBundle::bundleWithPath(root_ / "Test.action");
  }
  [[nodiscard]] std::string refusal(const std::string& text) const {
    info(text);
    const auto bundle = open();
    return bundle ? "accepted" : bundle.error().message;
  }

  fs::path root_;
};

TEST_F(Bundle, TellsWhatItsInformationFileSays) {
  info(R"({"name": "Test", "version": "1.2", "executable": "code", "principalClass": "Main",
           "defaultParameters": {"a": "2.0", "b": 3, "c": 0.5}})");
  const auto bundle = open();
  ASSERT_TRUE(bundle) << bundle.error().message;
  const BundleInfo& found = (*bundle)->info();
  EXPECT_EQ(found.name, "Test");
  EXPECT_EQ(found.version, "1.2");
  EXPECT_EQ(found.principalClass, "Main");
  EXPECT_EQ(found.defaultParameters.stringValue("a"), "2.0");
  EXPECT_EQ(found.defaultParameters.intValue("b"), 3);
  EXPECT_EQ(found.defaultParameters.doubleValue("c"), 0.5);
  EXPECT_EQ((*bundle)->executablePath(), (contents() / "Linux" / "code.so").string());
}

TEST_F(Bundle, SaysWhatIsWrongWithTheInformationFile) {
  const std::string rest = R"(, "version": "1", "executable": "e", "principalClass": "P")";
  EXPECT_THAT(refusal("{"), HasSubstr("Info.json, line 1, column 2"));
  EXPECT_EQ(refusal("[]"), "Info.json is a list, not an object");
  EXPECT_EQ(refusal("{}"), "Info.json has no \"name\"");
  EXPECT_EQ(refusal("{\"name\": 5" + rest + "}"), "\"name\" in Info.json is a number, not a text");
  EXPECT_EQ(
      refusal(R"({"name": "N", "version": "1", "executable": "../e", "principalClass": "P"})"),
      "\"executable\" in Info.json is not a plain file name");
  EXPECT_EQ(refusal("{\"name\": \"N\"" + rest + ", \"defaultParameters\": {\"k\": [1]}}"),
            "\"defaultParameters\" in Info.json: the parameter \"k\" is a list, not a text or a "
            "number");
  EXPECT_EQ(refusal("{\"name\": \"N\"" + rest + "}"), "accepted");
}

TEST_F(Bundle, FindsPicturesWithOrWithoutTheirExtension) {
  info(R"({"name": "N", "version": "1", "executable": "e", "principalClass": "P"})");
  const fs::path resources = contents() / "Resources";
  std::ofstream(resources / "Box.png") << "x";
  std::ofstream(resources / "Cursor.tif") << "x";
  const auto bundle = open();
  ASSERT_TRUE(bundle) << bundle.error().message;
  EXPECT_EQ((*bundle)->pathForImageResource("Box.png"), (resources / "Box.png").string());
  EXPECT_EQ((*bundle)->pathForImageResource("Box"), (resources / "Box.png").string());
  EXPECT_EQ((*bundle)->pathForImageResource("Cursor"), (resources / "Cursor.tif").string());
  EXPECT_FALSE((*bundle)->pathForImageResource("Box.tif"));
  EXPECT_FALSE((*bundle)->pathForImageResource("../Info"));
  EXPECT_FALSE((*bundle)->pathForImageResource(""));
}

TEST(BundleOfCode, IsTheProgramsDirectoryForAProgram) {
  const auto here = reinterpret_cast<const void*>(&bundlePathForCode);
  static const int own = 0;
  EXPECT_EQ(bundlePathForCode(&own), fs::read_symlink("/proc/self/exe").parent_path());
  // A library of its own.
  EXPECT_EQ(bundlePathForCode(here), KELVO_BINARY_DIR "/platform");
  EXPECT_EQ(bundlePathForCode(nullptr), "");
}

TEST_F(Bundle, IsReadOnceForAllWhoHoldIt) {
  info(R"({"name": "First", "version": "1", "executable": "e", "principalClass": "P"})");
  auto first = open();
  ASSERT_TRUE(first);
  info(R"({"name": "Second", "version": "1", "executable": "e", "principalClass": "P"})");
  auto second = open();
  ASSERT_TRUE(second);
  EXPECT_EQ(*second, *first);
  first = Error{"let go"};
  EXPECT_EQ((*open())->info().name, "First");
  second = Error{"let go"};
  EXPECT_EQ((*open())->info().name, "Second");
}

TEST_F(Bundle, SaysThatThereIsNone) {
  const auto bundle = NSBundle::bundleWithPath(root_ / "Other.action");
  ASSERT_FALSE(bundle);
  EXPECT_EQ(bundle.error().message, "Info.json cannot be read: No such file or directory");
}

TEST_F(Bundle, DoesNotWaitForAWriterOfAPipe) {
  ASSERT_EQ(::mkfifo((contents() / "Info.json").c_str(), 0600), 0);
  const auto bundle = open();
  ASSERT_FALSE(bundle);
  EXPECT_EQ(bundle.error().message, "Info.json cannot be read: it is not a regular file");
}

TEST_F(Bundle, FindsResourcesByTheirPlainName) {
  info(R"({"name": "N", "version": "1", "executable": "e", "principalClass": "P"})");
  std::ofstream(contents() / "Resources" / "cursor.tif") << "x";
  const auto bundle = open();
  ASSERT_TRUE(bundle);
  EXPECT_EQ((*bundle)->pathForResource("cursor.tif"),
            (contents() / "Resources" / "cursor.tif").string());
  EXPECT_EQ((*bundle)->pathForResource("other.tif"), std::nullopt);
  EXPECT_EQ((*bundle)->pathForResource("../Info.json"), std::nullopt);
}

TEST_F(Bundle, SaysWhyItsModuleDoesNotLoad) {
  info(R"({"name": "N", "version": "1", "executable": "code", "principalClass": "P"})");
  std::ofstream(contents() / "Linux" / "code.so") << "no code";
  const auto bundle = open();
  ASSERT_TRUE(bundle);
  const auto loaded = (*bundle)->load();
  ASSERT_FALSE(loaded);
  EXPECT_THAT(loaded.error().message, HasSubstr("code.so"));
  EXPECT_EQ((*bundle)->symbol("malloc"), nullptr);
}

TEST_F(Bundle, IsFoundInTheFirstDirectoryThatHasIt) {
  fs::create_directories(root_ / "second" / "Test.action");
  const std::string second = root_ / "second";
  EXPECT_EQ(findBundle({"/nowhere", second, root_}, "Test"), second + "/Test.action");
  EXPECT_EQ(findBundle({root_}, "Test"), (root_ / "Test.action").string());
  EXPECT_EQ(findBundle({second}, "Other"), std::nullopt);
  EXPECT_EQ(findBundle({second}, "../Test"), std::nullopt);
  EXPECT_EQ(findBundle({second}, ""), std::nullopt);
}

}  // namespace
}  // namespace kelvo
