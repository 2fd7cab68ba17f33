#include <gtest/gtest.h>

#include <filesystem>

#include "action/apply_image.h"
#include "action/tq_am_open_save.h"
#include "platform/foundation/ns_bundle.h"
#include "tests/support/captured_log.h"
#include "tests/support/temporary_directory.h"

// The bridge to the framework that we ship.
namespace kelvo {
namespace {

using testing::readFile;
using testing::shell;

struct Adjuster {
  CIImageRef adjust(const CIImageRef& image, const ActionParameters& parameters) {
    return applyImage(parameters, image);
  }
};

class OpenSaveFiles : public ::testing::Test {
 protected:
  std::string sample(const std::string& name) {
    const std::string path = directory_.file(name);
    std::filesystem::copy_file(KELVO_SOURCE_DIR "/resources/samples/" + name, path);
    return path;
  }
  PathList inverted(const PathList& input) {
    const auto parameters = std::make_shared<ParameterDictionary>();
    parameters->setObject_forKey("13", "filterPopUp");
    Adjuster adjuster;
    return std::get<PathList>(bridge_.resultOfInput_target_performSelector_parameters(
        input, &adjuster, &Adjuster::adjust, parameters));
  }

  testing::TemporaryDirectory directory_;
  TQAMOpenSave bridge_;
  testing::CapturedLog log_;
};

TEST_F(OpenSaveFiles, ResavesUnderAnotherExtensionOfTheFormat) {
  const std::string lake = sample("lake.jpg");
  EXPECT_EQ(std::get<PathList>(bridge_.resultOfInput_extension(PathList{lake}, "jpeg")),
            PathList{"file://" + directory_.file("lake.jpeg")});
  EXPECT_EQ(readFile(directory_.file("lake.jpeg")), readFile(lake));
}

TEST_F(OpenSaveFiles, ConvertsToTheFormatOfTheExtension) {
  const std::string lake = sample("lake.jpg");
  const std::string leaf = sample("leaf.png");  // transparent in places
  const std::string pages = sample("two-pages.tif");
  EXPECT_EQ(std::get<PathList>(bridge_.resultOfInput_extension(PathList{lake}, "tiff")),
            PathList{"file://" + directory_.file("lake.tiff")});
  EXPECT_TRUE(shell("convert '" + lake + "' '" + directory_.file("theirs.rgb") + "' && convert '" +
                    directory_.file("lake.tiff") + "' '" + directory_.file("ours.rgb") + "'"));
  EXPECT_TRUE(readFile(directory_.file("ours.rgb")) == readFile(directory_.file("theirs.rgb")));
  EXPECT_EQ(std::get<PathList>(bridge_.resultOfInput_extension(PathList{leaf, lake, pages}, "jpg")),
            PathList{"file://" + lake});
  EXPECT_EQ(log_.texts(),
            (std::vector<std::string>{
                "The image could not be saved under its new name (the picture is transparent in "
                "places, and JPEG files are opaque)",
                "The image could not be saved under its new name (its file holds 2 images, and a "
                "JPEG file made of it would hold one)"}));
  EXPECT_EQ(log_.lines()[0].path, leaf);
}

TEST_F(OpenSaveFiles, AdjustsFilesInPlaceAndSkipsThoseThatItCannot) {
  const std::string chart = sample("chart.tif");
  const std::string pages = sample("two-pages.tif");
  const std::string text = directory_.file("text.png");
  testing::writeFile(text, "no image");
  const std::string pagesBefore = readFile(pages);
  EXPECT_EQ(inverted({text, chart, pages, directory_.file("none.jpg")}), PathList{chart});
  // Another tool inverts the sample.
  EXPECT_TRUE(shell("convert '" KELVO_SOURCE_DIR "/resources/samples/chart.tif' -negate '" +
                    directory_.file("negated.ppm") + "' && convert '" + chart + "' '" +
                    directory_.file("ours.ppm") + "'"));
  EXPECT_EQ(readFile(directory_.file("ours.ppm")), readFile(directory_.file("negated.ppm")));
  EXPECT_EQ(readFile(pages), pagesBefore);
  EXPECT_EQ(log_.texts(),
            (std::vector<std::string>{
                "The image could not be opened (its contents are of no known image format)",
                "The image could not be saved (its file holds 2 images, and the others would be "
                "lost)",
                "The image could not be opened (the file could not be found: there is no such "
                "file)"}));
}

TEST(OpenSaveInTheAction, IsPartOfItsModuleAndFindsTheFrameworkBesideIt) {
  const std::string action = KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action";
  const auto bundle = NSBundle::bundleWithPath(action);
  ASSERT_TRUE(bundle) << bundle.error().message;
  ASSERT_TRUE((*bundle)->load());
  // TQAMOpenSave::fileManager().
  const void* const code = (*bundle)->symbol("_ZN5kelvo12TQAMOpenSave11fileManagerEv");
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(bundlePathForCode(code), action);
  EXPECT_TRUE(NSBundle::bundleWithPath(action + "/../../../Frameworks/TQOpenSave.framework"));
}

}  // namespace
}  // namespace kelvo
