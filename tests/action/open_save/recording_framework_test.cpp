#include <gtest/gtest.h>

#include "action/tq_am_open_save.h"
#include "platform/image/ci_filter.h"
#include "tests/action/open_save/recording_file_manager.h"
#include "tests/support/captured_log.h"
#include "tests/support/pixels.h"

// What the bridge asks the framework for.
namespace kelvo {
namespace {

using Calls = std::vector<std::string>;

// Does what the file's red level, always 10, is adjusted to.
struct Target {
  std::vector<ActionParameters> sent;
  CIImageRef result;
  CIImageRef give(const CIImageRef& /*image*/, const ActionParameters& parameters) {
    sent.push_back(parameters);
    return result;
  }
  CIImageRef invert(const CIImageRef& image, const ActionParameters& parameters) {
    sent.push_back(parameters);
    const CIFilterRef filter = CIFilter::filterWithName("CIColorInvert");
    filter->setValue_forKey(image, "inputImage");
    return filter->outputImage();
  }
};

class OpenSave : public ::testing::Test {
 protected:
  [[nodiscard]] testing::RecordingFileManager& manager() {
    return static_cast<testing::RecordingFileManager&>(*bridge_.fileManager());
  }
  PathList inverted(const PathList& input) {
    return std::get<PathList>(bridge_.resultOfInput_target_performSelector_parameters(
        input, &target_, &Target::invert, parameters_));
  }
  PathList resaved(const PathList& input, const std::string& extension) {
    return std::get<PathList>(bridge_.resultOfInput_extension(input, extension));
  }

  TQAMOpenSave bridge_;
  Target target_;
  ActionParameters parameters_ = std::make_shared<ParameterDictionary>();
  testing::CapturedLog log_;
};

TEST_F(OpenSave, MakesTheFileManagerOnFirstUseAndKeepsIt) {
  const auto first = bridge_.fileManager();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(bridge_.fileManager(), first);
  resaved({"/a/b.jpg", "/a/c.jpg"}, "jpeg");
  EXPECT_EQ(manager().objectsMade(), 1);
  TQAMOpenSave another;
  EXPECT_NE(another.fileManager(), first);
  EXPECT_EQ(manager().objectsMade(), 2);
}

// Its code must still be there when the object goes.
TEST_F(OpenSave, LetsTheFileManagerOutliveIt) {
  std::shared_ptr<TQOSFFileManager> kept;
  {
    TQAMOpenSave another;
    kept = another.fileManager();
  }
  EXPECT_FALSE(kept->TQOSF_ResaveImageAtURL_toURL(NSURL::fileURLWithPath("/a.jpg"),
                                                  NSURL::fileURLWithPath("/a.jpeg")));
}

TEST_F(OpenSave, HandsBackWhatIsNoList) {
  const WorkflowValue text = std::string("a text");
  EXPECT_EQ(bridge_.resultOfInput_extension(text, "png"), text);
  EXPECT_EQ(bridge_.resultOfInput_target_performSelector_parameters(text, &target_, &Target::invert,
                                                                    parameters_),
            text);
  EXPECT_EQ(log_.texts(), (Calls{"Error: Unknown datatype", "Error: Unknown datatype"}));
  EXPECT_EQ(manager().calls(), Calls());
}

TEST_F(OpenSave, AnEmptyListGivesAnEmptyList) {
  EXPECT_EQ(resaved({}, "png"), PathList());
  EXPECT_EQ(inverted({}), PathList());
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(OpenSave, ResavesEachFileUnderTheNewExtensionAndGivesUrls) {
  EXPECT_EQ(
      resaved({"/a/b.tif", "/a.b/my photo.old.jpg", "/a.b/none"}, "png"),
      (PathList{"file:///a/b.png", "file:///a.b/my%20photo.old.png", "file:///a.b/none.png"}));
  EXPECT_EQ(manager().calls(), (Calls{"resave /a/b.tif to /a/b.png",
                                      "resave /a.b/my photo.old.jpg to /a.b/my photo.old.png",
                                      "resave /a.b/none to /a.b/none.png"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(OpenSave, LogsWhyAFileWasNotResavedAndGoesOn) {
  EXPECT_EQ(resaved({"/a.jpg", "/unsavable.jpg", "/b.jpg"}, "jpeg"),
            (PathList{"file:///a.jpeg", "file:///b.jpeg"}));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].text, "cannot resave /unsavable.jpg");
  EXPECT_EQ(log_.lines()[0].path, "/unsavable.jpg");
}

TEST_F(OpenSave, OpensAdjustsAndSavesEachFileAndGivesPaths) {
  EXPECT_EQ(inverted({"/a.jpg", "/my b.jpg"}), (PathList{"/a.jpg", "/my b.jpg"}));
  EXPECT_EQ(manager().calls(),
            (Calls{"read /a.jpg", "save 245 of 8 bits at /a.jpg with /a.jpg, type of /a.jpg",
                   "read /my b.jpg",
                   "save 245 of 8 bits at /my b.jpg with /my b.jpg, type of /my b.jpg"}));
  EXPECT_EQ(target_.sent, (std::vector<ActionParameters>{parameters_, parameters_}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(OpenSave, LogsWhyAFileWasNotOpenedAndGoesOn) {
  EXPECT_EQ(inverted({"/unreadable.jpg", "/a.jpg"}), PathList{"/a.jpg"});
  EXPECT_EQ(manager().calls(), (Calls{"read /unreadable.jpg", "read /a.jpg",
                                      "save 245 of 8 bits at /a.jpg with /a.jpg, type of /a.jpg"}));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].text, "cannot read /unreadable.jpg");
  EXPECT_EQ(log_.lines()[0].path, "/unreadable.jpg");
  EXPECT_EQ(target_.sent.size(), 1U);
}

TEST_F(OpenSave, TrustsNoImageThatCameWithAnError) {
  EXPECT_EQ(inverted({"/doubtful.jpg"}), PathList());
  EXPECT_EQ(manager().calls(), Calls{"read /doubtful.jpg"});
  EXPECT_EQ(log_.texts(), Calls{"cannot read /doubtful.jpg"});
  EXPECT_TRUE(target_.sent.empty());
}

TEST_F(OpenSave, LogsThatNoImageCameWithoutAnError) {
  EXPECT_EQ(inverted({"/mute.jpg"}), PathList());
  EXPECT_EQ(log_.texts(), Calls{"The image could not be opened"});
  EXPECT_TRUE(target_.sent.empty());
}

// The recorder tells if something is left from the file before.
TEST_F(OpenSave, StartsEachFileWithoutWhatTheOneBeforeLeft) {
  EXPECT_EQ(inverted({"/a.jpg", "/unreadable.jpg", "/bare.jpg", "/unsavable.jpg", "/b.jpg"}),
            (PathList{"/a.jpg", "/bare.jpg", "/b.jpg"}));
  EXPECT_EQ(manager().calls(),
            (Calls{"read /a.jpg", "save 245 of 8 bits at /a.jpg with /a.jpg, type of /a.jpg",
                   "read /unreadable.jpg", "read /bare.jpg",
                   "save 245 of 8 bits at /bare.jpg with nothing, ", "read /unsavable.jpg",
                   "save 245 of 8 bits at /unsavable.jpg with /unsavable.jpg, type of "
                   "/unsavable.jpg",
                   "read /b.jpg", "save 245 of 8 bits at /b.jpg with /b.jpg, type of /b.jpg"}));
}

TEST_F(OpenSave, SkipsInSilenceWhatTheTargetGivesNothingFor) {
  target_.result = nullptr;
  EXPECT_EQ(std::get<PathList>(bridge_.resultOfInput_target_performSelector_parameters(
                PathList{"/a.jpg"}, &target_, &Target::give, parameters_)),
            PathList());
  EXPECT_EQ(target_.sent.size(), 1U);
  EXPECT_EQ(manager().calls(), Calls{"read /a.jpg"});
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(OpenSave, ATargetThatIsNotThereGivesNothing) {
  Target* const none = nullptr;
  EXPECT_EQ(std::get<PathList>(bridge_.resultOfInput_target_performSelector_parameters(
                PathList{"/a.jpg"}, none, &Target::invert, parameters_)),
            PathList());
  EXPECT_EQ(manager().calls(), Calls{"read /a.jpg"});
}

TEST_F(OpenSave, LogsWhyAFileWasNotSavedAndGoesOn) {
  EXPECT_EQ(inverted({"/unsavable.jpg", "/a.jpg"}), PathList{"/a.jpg"});
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].text, "cannot save /unsavable.jpg");
  EXPECT_EQ(log_.lines()[0].path, "/unsavable.jpg");
}

TEST_F(OpenSave, LogsThatAResultCannotBeRendered) {
  const CIImageRef image = testing::image({{1, 2, 3, 255}}, testing::kOpaque8);
  target_.result = std::make_shared<const CIImage>(image->recipe(), CGRect{});
  EXPECT_EQ(std::get<PathList>(bridge_.resultOfInput_target_performSelector_parameters(
                PathList{"/a.jpg"}, &target_, &Target::give, parameters_)),
            PathList());
  EXPECT_EQ(manager().calls(), Calls{"read /a.jpg"});
  EXPECT_EQ(log_.texts(), Calls{"the image is empty"});
}

}  // namespace
}  // namespace kelvo
