#include <gtest/gtest.h>

#include "action/tq_am_open_save.h"
#include "platform/image/ci_filter.h"
#include "tests/support/captured_log.h"
#include "tests/support/temporary_directory.h"

// An application without the framework.
namespace kelvo {
namespace {

struct Target {
  int sent = 0;
  CIImageRef adjust(const CIImageRef& image, const ActionParameters& /*parameters*/) {
    ++sent;
    return image;
  }
};

TEST(OpenSaveWithoutFramework, HasNoFileManager) {
  TQAMOpenSave bridge;
  EXPECT_EQ(bridge.fileManager(), nullptr);
  EXPECT_EQ(bridge.fileManager(), nullptr);
}

TEST(OpenSaveWithoutFramework, DoesNothingForEachFile) {
  const testing::TemporaryDirectory directory;
  const std::string file = directory.file("photo.jpg");
  testing::writeFile(file, "untouched");
  testing::CapturedLog log;
  TQAMOpenSave bridge;
  Target target;
  const PathList input = {file, directory.file("none.jpg")};
  EXPECT_EQ(bridge.resultOfInput_extension(input, "jpeg"), WorkflowValue(PathList()));
  EXPECT_EQ(bridge.resultOfInput_target_performSelector_parameters(input, &target, &Target::adjust,
                                                                   nullptr),
            WorkflowValue(PathList()));
  EXPECT_EQ(target.sent, 0);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(testing::readFile(file), "untouched");
  EXPECT_EQ(testing::readFile(directory.file("photo.jpeg")), "");
}

TEST(OpenSaveWithoutFramework, StillHandsBackWhatIsNoList) {
  testing::CapturedLog log;
  TQAMOpenSave bridge;
  const WorkflowValue text = std::string("a text");
  EXPECT_EQ(bridge.resultOfInput_extension(text, "png"), text);
  EXPECT_EQ(log.texts(), std::vector<std::string>{"Error: Unknown datatype"});
}

}  // namespace
}  // namespace kelvo
