#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "platform/image_io/cg_image_source.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

Result<CGImageSourceRef> open(const std::string& path) {
  return CGImageSourceCreateWithURL(NSURL::fileURLWithPath(path));
}

std::string photoshopHeader(char version) {
  std::string header = "8BPS";
  header += std::string{'\0', version} + std::string(6, '\0') + std::string{'\0', '\3'};
  header += std::string{'\0', '\0', '\0', '\5', '\0', '\0', '\0', '\7'};  // height, width
  return header + std::string{'\0', '\10', '\0', '\3'};
}

TEST(Source, RecognisesPhotoshopDocumentsOfBothVersionsByContent) {
  const TemporaryDirectory directory;
  for (const char version : {'\1', '\2'}) {
    const std::string file = directory.path("looks-like.jpg");
    writeFile(file, photoshopHeader(version));
    const auto source = open(file);
    ASSERT_TRUE(source);
    EXPECT_EQ(CGImageSourceGetType(**source), "com.adobe.photoshop-image");
    EXPECT_EQ(CGImageSourceGetCount(**source), 1U);
    EXPECT_EQ((*source)->frames().info(0).width, 7U);
    EXPECT_EQ((*source)->frames().info(0).height, 5U);
    EXPECT_FALSE(CGImageSourceCreateImageAtIndex(**source, 0));
  }
  writeFile(directory.path("version3"), photoshopHeader('\3'));
  EXPECT_FALSE(open(directory.path("version3")));
}

TEST(Source, ThingsThatAreNoImageFilesAreErrorsInPlainWords) {
  const TemporaryDirectory directory;
  const auto message = [](const Result<CGImageSourceRef>& result) {
    return result ? std::string("opened") : result.error().message;
  };
  EXPECT_EQ(message(open(directory.path("missing"))),
            "the file could not be found: there is no such file");
  EXPECT_EQ(message(open(directory.path(""))), "it is a directory");
  writeFile(directory.path("empty"), "");
  EXPECT_EQ(message(open(directory.path("empty"))), "the file is empty");
  writeFile(directory.path("text.jpg"), "just some text");
  EXPECT_EQ(message(open(directory.path("text.jpg"))), "its contents are of no known image format");
  ASSERT_EQ(::mkfifo(directory.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(message(open(directory.path("pipe"))), "it is not a regular file");
  EXPECT_EQ(message(open("/dev/zero")), "it is not a regular file");
}

}  // namespace
}  // namespace kelvo::test
