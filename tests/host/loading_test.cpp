#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/foundation/ns_log.h"
#include "platform/workflow/action_loading.h"
#include "platform/workflow/principal_class.h"

namespace kelvo {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const fs::path kFakeBundle = fs::path(KELVO_FAKE_ACTIONS) / "Kelvo Images.action";

TEST(LoadAction, MakesAnObjectOfThePrincipalClassWithTheDefaults) {
  auto loaded = loadAction(kFakeBundle);
  ASSERT_TRUE(loaded) << loaded.error().message;
  EXPECT_EQ(loaded->action->parameters().stringValue("mark"), "default");
  EXPECT_EQ(loaded->bundle->info().principalClass, "FakeAction");
}

TEST(LoadAction, SharesTheLogWithTheModule) {
  auto loaded = loadAction(kFakeBundle);
  ASSERT_TRUE(loaded);
  std::string line;
  const LogSink previous =
      setLogSink([&line](const LogRecord& record) { line = formatLogRecord(record); });
  const WorkflowValue result =
      loaded->action->runWithInput_fromAction_error(PathList{"/nowhere/a"}, nullptr, nullptr);
  setLogSink(previous);
  EXPECT_EQ(line,
            "/nowhere/a: Error: Cann't load this file, source problem (there is no such file)");
  EXPECT_EQ(result, WorkflowValue(PathList{}));
}

TEST(LoadAction, MakesObjectsApartFromEachOther) {
  auto first = loadAction(kFakeBundle);
  auto second = loadAction(kFakeBundle);
  ASSERT_TRUE(first && second);
  first->action->parameters().setObject_forKey("changed", "mark");
  EXPECT_EQ(second->action->parameters().stringValue("mark"), "default");
}

class DamagedBundle : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(bundle_ / "Contents/Linux");
    fs::copy_file(kFakeBundle / "Contents/Linux/fake.so", bundle_ / "Contents/Linux/fake.so");
  }
  void TearDown() override { fs::remove_all(bundle_); }
  void info(const std::string& executable, const std::string& principalClass) const {
    std::ofstream(bundle_ / "Contents/Info.json")
        << R"({"name": "D", "version": "1", "executable": ")" << executable
        << R"(", "principalClass": ")" << principalClass << "\"}";
  }
  [[nodiscard]] std::string why() const {
    const auto loaded = loadAction(bundle_);
    return loaded ? "loaded" : loaded.error().message;
  }

  const fs::path bundle_ =
      fs::path(testing::TempDir()) / ("damaged-" + std::to_string(::getpid()) + ".action");
};

TEST_F(DamagedBundle, MayNameAClassThatTheModuleDoesNotHave) {
  info("fake", "Other");
  EXPECT_EQ(why(), "its module has no class Other");
  info("fake", "FakeAction");
  EXPECT_EQ(why(), "loaded");
}

TEST_F(DamagedBundle, MayLackItsModule) {
  info("none", "FakeAction");
  EXPECT_THAT(why(), HasSubstr("none.so"));
}

TEST_F(DamagedBundle, MayHoldAModuleThatIsNoAction) {
  // Some library that every program has.
  std::ifstream maps("/proc/self/maps");
  std::string library;
  for (std::string line; library.empty() && std::getline(maps, line);) {
    if (line.find("/libm.so") != std::string::npos || line.find("/libm-") != std::string::npos) {
      library = line.substr(line.find('/'));
    }
  }
  ASSERT_FALSE(library.empty());
  fs::copy_file(library, bundle_ / "Contents/Linux/math.so");
  info("math", "FakeAction");
  EXPECT_EQ(why(), "its module exports no kelvoCreatePrincipalClass");
}

}  // namespace
}  // namespace kelvo
