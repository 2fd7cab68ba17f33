#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "action/apply_filter_for_files.h"
#include "action/kelvo_images.h"
#include "platform/image_io/cg_image_source.h"
#include "tests/support/captured_log.h"
#include "tests/support/temporary_directory.h"

// The action over real files that other tools made.
namespace kelvo {
namespace {

using testing::readFile;
using testing::shell;
using testing::writeFile;

constexpr const char* kSourceProblem = "Error: Cann't load this file, source problem";
constexpr const char* kStatusProblem = "Error: Cann't load this file, status problem";

std::string cgImageProblem(int frame) {
  return "Error: Cann't load this file, cgimage problem, frame " + std::to_string(frame);
}

class Run : public ::testing::Test {
 protected:
  std::string made(const std::string& name, const std::string& options) {
    const std::string path = directory_.file(name);
    EXPECT_TRUE(shell("convert " + options + " '" + path + "'")) << name;
    return path;
  }

  PathList run(const PathList& paths, const char* filter = "13", RunOptions options = {}) {
    Kelvo_Images action;
    action.parameters().setObject_forKey(filter, "filterPopUp");
    action.setRunOptions(std::move(options));
    action.opened();
    const WorkflowValue output = action.runWithInput_fromAction_error(paths, nullptr, nullptr);
    return std::get<PathList>(output);
  }

  // One pixel of a file as another tool reads it, "R,G,B".
  std::string pixel(const std::string& path, int x, int y) {
    const std::string out = directory_.file("pixel.txt");
    EXPECT_TRUE(shell("convert '" + path + "' -format '%[fx:round(255*p{" + std::to_string(x) +
                      "," + std::to_string(y) + "}.r)],%[fx:round(255*p{" + std::to_string(x) +
                      "," + std::to_string(y) + "}.g)],%[fx:round(255*p{" + std::to_string(x) +
                      "," + std::to_string(y) + "}.b)]' info:'" + out + "'"));
    return readFile(out);
  }

  testing::TemporaryDirectory directory_;
  testing::CapturedLog log_;
};

constexpr const char* kRamp = "-size 32x32 gradient:'rgb(10,200,30)-rgb(250,20,90)'";

TEST_F(Run, InputThatIsNoListIsPassedOnUnchanged) {
  Kelvo_Images action;
  WorkflowError error;
  const WorkflowValue output =
      action.runWithInput_fromAction_error(std::string("not a list"), nullptr, &error);
  EXPECT_EQ(std::get<std::string>(output), "not a list");
  EXPECT_EQ(log_.texts(), (std::vector<std::string>{"Error: Unknown datatype"}));
  EXPECT_EQ(error.code, 0);
  EXPECT_TRUE(error.message.empty());
}

TEST_F(Run, AnEmptyListGivesAnEmptyList) {
  EXPECT_TRUE(run({}).empty());
  EXPECT_TRUE(log_.texts().empty());
}

TEST_F(Run, PngAndTiffAreRewrittenInPlaceToTheLevel) {
  for (const char* name : {"a.png", "a.tif"}) {
    const std::string path = made(name, std::string(kRamp) + " -depth 8 -type TrueColor");
    const std::string before = pixel(path, 3, 0);
    ASSERT_EQ(before, "10,200,30") << name;
    EXPECT_EQ(run({path}), PathList{path}) << name;
    EXPECT_EQ(pixel(path, 3, 0), "245,55,225") << name;
  }
  EXPECT_TRUE(log_.texts().empty());
}

TEST_F(Run, AJpegIsRewrittenInPlaceWithinItsOwnLoss) {
  const std::string path =
      made("a.jpg", "-size 32x32 xc:'rgb(60,120,200)' -quality 95 -sampling-factor 1x1");
  EXPECT_EQ(run({path}), PathList{path});
  int r = 0;
  int g = 0;
  int b = 0;
  ASSERT_EQ(std::sscanf(pixel(path, 5, 5).c_str(), "%d,%d,%d", &r, &g, &b), 3);
  EXPECT_NEAR(r, 195, 3);
  EXPECT_NEAR(g, 135, 3);
  EXPECT_NEAR(b, 55, 3);
}

// Large enough that rows are read ahead, and with detail in every row.
TEST_F(Run, AFileIsTheSameHoweverManyProcessorsWorkOnIt) {
  const std::string detail = "-size 500x700 plasma:red-blue -seed 7 -depth 8 ";
  const std::vector<std::string> originals = {
      made("a.jpg", detail + "-quality 85"),
      made("b.jpg", detail + "-interlace JPEG"),
      made("a.png", detail + "-type TrueColor"),
      made("a.webp", detail + "-quality 80"),
      made("b.webp", detail + "-define webp:lossless=true"),
      made("c.webp", detail + "-alpha set -channel A -evaluate multiply 0.5 -quality 70")};
  for (const std::string& original : originals) {
    for (const char* filter : {"13", "14", "1"}) {  // Invert; Equalize and Auto measure first
      const std::string path = directory_.file("copy");
      std::vector<std::string> results;
      for (const unsigned threads : {1U, 2U, 3U}) {
        writeFile(path, readFile(original));
        RunOptions options;
        options.replace.limits.threads = threads;
        options.replace.encode.threads = threads;
        EXPECT_EQ(run({path}, filter, options), PathList{path}) << original;
        results.push_back(readFile(path));
      }
      EXPECT_TRUE(results[0] == results[1]) << original << ", filter " << filter;
      EXPECT_TRUE(results[0] == results[2]) << original << ", filter " << filter;
      EXPECT_FALSE(results[0] == readFile(original)) << original << ", filter " << filter;
    }
  }
  EXPECT_TRUE(log_.texts().empty());
}

// A thread that reads ahead meets the damage; the message is the same.
TEST_F(Run, DamageIsReportedAlikeHoweverManyProcessorsWorkOnAFile) {
  const std::string path =
      made("a.jpg",
           "-size 500x700 plasma:red-blue -seed 7 -quality 85 -define jpeg:optimize-coding=off");
  const std::string whole = readFile(path);
  std::string damaged = whole;
  // A restart marker that is none of this file's, in the middle of its data.
  damaged[whole.size() / 2] = static_cast<char>(0xFF);
  damaged[whole.size() / 2 + 1] = static_cast<char>(0xD3);
  std::vector<std::vector<std::string>> logs;
  for (const unsigned threads : {1U, 2U, 3U}) {
    writeFile(path, damaged);
    RunOptions options;
    options.replace.limits.threads = threads;
    options.replace.encode.threads = threads;
    const testing::CapturedLog log;
    EXPECT_TRUE(run({path}, "13", options).empty());
    EXPECT_TRUE(readFile(path) == damaged);
    logs.push_back(log.texts());
  }
  EXPECT_EQ(logs[0], (std::vector<std::string>{cgImageProblem(0), "no cgimage"}));
  EXPECT_EQ(logs[1], logs[0]);
  EXPECT_EQ(logs[2], logs[0]);
}

TEST_F(Run, ResultsComeInInputOrderAndFailedFilesAreLeftOut) {
  const std::string first = made("1.png", kRamp);
  const std::string second = directory_.file("2.png");
  const std::string third = made("3.png", kRamp);
  EXPECT_EQ(run({third, second, first}), (PathList{third, first}));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].path, second);
}

TEST_F(Run, APathThatDoesNotExistIsASourceProblem) {
  EXPECT_TRUE(run({directory_.file("nothing.jpg")}).empty());
  ASSERT_EQ(log_.texts(), (std::vector<std::string>{kSourceProblem}));
  EXPECT_NE(log_.lines()[0].detail.find("no such file"), std::string::npos)
      << log_.lines()[0].detail;
}

TEST_F(Run, AFileOfAnUnknownFormatIsASourceProblem) {
  const std::string path = directory_.file("text.jpg");
  writeFile(path, "this is no picture at all, whatever its name says\n");
  EXPECT_TRUE(run({path}).empty());
  EXPECT_EQ(log_.texts(), (std::vector<std::string>{kSourceProblem}));
}

TEST_F(Run, APhotoshopDocumentIsPassedOver) {
  const std::string path = directory_.file("a.psd");
  ASSERT_TRUE(shell("convert -size 8x8 xc:red '" + path + "'"));
  const std::string before = readFile(path);
  EXPECT_TRUE(run({path}).empty());
  EXPECT_EQ(log_.texts(), (std::vector<std::string>{"Warning: Ignoring photoshop image"}));
  EXPECT_EQ(readFile(path), before);
}

TEST_F(Run, ATruncatedFileIsAStatusProblemAndStaysAsItWas) {
  for (const char* name : {"a.jpg", "a.png", "a.tif"}) {
    const std::string path = made(name, std::string(kRamp) + " -attenuate 2 +noise Gaussian");
    const std::string whole = readFile(path);
    const std::string part = whole.substr(0, whole.size() * 2 / 3);
    writeFile(path, part);
    const testing::CapturedLog log;
    EXPECT_TRUE(run({path}).empty());
    ASSERT_EQ(log.lines().size(), 1U) << name;
    EXPECT_TRUE(log.lines()[0].text == kStatusProblem || log.lines()[0].text == kSourceProblem)
        << log.lines()[0].text;
    EXPECT_FALSE(log.lines()[0].detail.empty());
    EXPECT_EQ(readFile(path), part);
  }
}

TEST_F(Run, GrayscaleAndCmykFailAtTheRgbCopyAndStayAsTheyWere) {
  const PathList paths{made("gray.jpg", "-size 16x16 gradient: -colorspace Gray"),
                       made("gray.png", "-size 16x16 gradient: -colorspace Gray"),
                       made("gray.tif", "-size 16x16 gradient: -colorspace Gray"),
                       made("cmyk.jpg", "-size 16x16 xc:red -colorspace CMYK"),
                       made("cmyk.tif", "-size 16x16 xc:red -colorspace CMYK")};
  for (const std::string& path : paths) {
    const std::string before = readFile(path);
    const testing::CapturedLog log;
    EXPECT_TRUE(run({path}).empty());
    EXPECT_EQ(log.texts(), (std::vector<std::string>{cgImageProblem(0)})) << path;
    EXPECT_EQ(readFile(path), before);
  }
}

TEST_F(Run, EveryFrameOfAFileIsAdjusted) {
  const std::string path = directory_.file("three.tif");
  ASSERT_TRUE(
      shell("convert -size 4x4 xc:'rgb(1,2,3)' xc:'rgb(10,20,30)' xc:'rgb(100,110,120)' "
            "-type TrueColor '" +
            path + "'"));
  EXPECT_EQ(run({path}), PathList{path});
  EXPECT_EQ(pixel(path + "[0]", 0, 0), "254,253,252");
  EXPECT_EQ(pixel(path + "[1]", 0, 0), "245,235,225");
  EXPECT_EQ(pixel(path + "[2]", 0, 0), "155,145,135");
}

TEST_F(Run, AThreeFrameFileWhoseSecondFrameFailsKeepsItsOldContents) {
  const std::string path = directory_.file("three.tif");
  ASSERT_TRUE(
      shell("convert -size 4x4 xc:'rgb(1,2,3)' xc:'rgb(10,20,30)' xc:'rgb(100,110,120)' "
            "-type TrueColor '" +
            path + "'"));
  const std::string gray = directory_.file("gray.tif");
  ASSERT_TRUE(shell("convert -size 4x4 gradient: -colorspace Gray '" + gray + "'"));
  const std::string mixed = directory_.file("mixed.tif");
  ASSERT_TRUE(shell("tiffcp '" + path + "',0 '" + gray + "' '" + path + "',2 '" + mixed + "'"));
  const std::string before = readFile(mixed);
  EXPECT_TRUE(run({mixed}).empty());
  EXPECT_EQ(log_.texts(), (std::vector<std::string>{cgImageProblem(1)}));
  EXPECT_EQ(readFile(mixed), before);
  EXPECT_EQ(log_.lines()[0].path, mixed);
}

TEST_F(Run, DamagedPixelsFailTheFrameAndNothingIsWritten) {
  // A hole of zeros inside the compressed data, every structure around it whole.
  const std::string path =
      made("a.tif", std::string(kRamp) + " -attenuate 2 +noise Gaussian -compress Zip");
  std::string bytes = readFile(path);
  for (std::size_t i = 500; i < 560; ++i) bytes[i] = 0;
  writeFile(path, bytes);
  EXPECT_TRUE(run({path}).empty());
  EXPECT_EQ(log_.texts(), (std::vector<std::string>{cgImageProblem(0), "no cgimage"}));
  EXPECT_EQ(readFile(path), bytes);
}

TEST_F(Run, AnUnknownFilterNumberFailsEveryFileAfterTwoLines) {
  const std::string path = made("a.png", kRamp);
  const std::string before = readFile(path);
  EXPECT_TRUE(run({path}, "5").empty());
  EXPECT_EQ(log_.texts(),
            (std::vector<std::string>{"Error: unknown index",
                                      "Error: Cann't load this file, newImage problem, frame 0"}));
  EXPECT_EQ(readFile(path), before);
}

TEST_F(Run, AFileThatCannotBeReplacedIsAFinalizeProblem) {
  const std::string path = made("a.png", kRamp);
  ASSERT_TRUE(shell("ln '" + path + "' '" + directory_.file("b.png") + "'"));
  const std::string before = readFile(path);
  EXPECT_TRUE(run({path}).empty());
  EXPECT_EQ(log_.texts(), (std::vector<std::string>{"Error: Cann't finalize"}));
  EXPECT_NE(log_.lines()[0].detail.find("link"), std::string::npos);
  EXPECT_EQ(readFile(path), before);
}

TEST_F(Run, AFileExchangedBetweenReadingAndWritingIsLeftAlone) {
  for (const char* name : {"a.jpg", "a.png", "a.tif"}) {
    const std::string path = made(name, kRamp);
    const NSURL url = NSURL::fileURLWithPath(path);
    const auto source = CGImageSourceCreateWithURL(url);
    ASSERT_TRUE(source.ok()) << name;
    const auto image = CGImageSourceCreateImageAtIndex(**source, 0);
    const auto properties = CGImageSourceCopyPropertiesAtIndex(**source, 0);
    ASSERT_TRUE(image.ok() && properties.ok()) << name;
    const std::string other = made(std::string("other-") + name, "-size 9x9 xc:red");
    ASSERT_TRUE(shell("mv '" + other + "' '" + path + "'"));
    const std::string before = readFile(path);
    const auto destination =
        CGImageDestinationCreateWithURL(url, CGImageSourceGetType(**source), 1);
    ASSERT_TRUE(destination.ok()) << name;
    EXPECT_FALSE(CGImageDestinationAddImage(**destination, *image, **properties).ok()) << name;
    EXPECT_FALSE(CGImageDestinationFinalize(**destination).ok()) << name;
    EXPECT_EQ(readFile(path), before) << name;
  }
}

TEST_F(Run, ADryRunChecksEverythingAndReplacesNothing) {
  const std::string path = made("a.png", kRamp);
  const std::string before = readFile(path);
  RunOptions options;
  options.replace.dryRun = true;
  EXPECT_EQ(run({path}, "13", options), PathList{path});
  EXPECT_EQ(readFile(path), before);
}

TEST_F(Run, TheHostIsToldOfEveryFile) {
  const std::string deep = made("a.png", std::string(kRamp) + " -depth 16 -type TrueColor");
  const std::string missing = directory_.file("missing.png");
  std::vector<FileOutcome> told;
  RunOptions options;
  options.onFile = [&](const FileOutcome& outcome) { told.push_back(outcome); };
  run({deep, missing}, "13", options);
  ASSERT_EQ(told.size(), 2U);
  EXPECT_TRUE(told[0].rewritten);
  EXPECT_EQ(told[0].frames, 1U);
  EXPECT_EQ(told[0].sourceDepth, 16U);
  EXPECT_EQ(told[0].writtenDepth, 8U);
  EXPECT_FALSE(told[1].rewritten);
  EXPECT_EQ(told[1].path, missing);
}

TEST_F(Run, FilesAreTheSameWhetherTheirPixelsFitIntoMemoryOrNot) {
  for (const char* filter : {"1", "14"}) {  // Auto, Equalize
    for (const char* name : {"a.jpg", "a.png", "a.tif"}) {
      const std::string path =
          made(name, "-size 90x70 gradient:'rgb(70,80,90)-rgb(150,140,120)' -type TrueColor");
      const std::string old = readFile(path);
      EXPECT_EQ(run({path}, filter), PathList{path}) << name;
      const std::string kept = readFile(path);
      writeFile(path, old);
      RunOptions options;
      options.replace.limits.maxMemoryBytes = 4 * (90 * 70 * 3 - 1);
      EXPECT_EQ(run({path}, filter, options), PathList{path}) << name;
      EXPECT_EQ(readFile(path), kept) << name;
      EXPECT_NE(kept, old) << name;
    }
  }
  EXPECT_TRUE(log_.texts().empty());
}

TEST_F(Run, SixteenBitsAreKeptWhenAskedFor) {
  RunOptions options;
  options.replace.encode.keepDepth = true;
  for (const char* name : {"a.png", "a.tif"}) {
    const std::string path = made(name, std::string(kRamp) + " -depth 16 -type TrueColor");
    EXPECT_EQ(run({path}, "13", options), PathList{path});
    EXPECT_TRUE(shell("test \"$(identify -format %z '" + path + "')\" = 16")) << name;
    EXPECT_EQ(pixel(path, 3, 0), "245,55,225") << name;
  }
}

TEST_F(Run, InvertingAnOpaquePngTwiceGivesTheSamePixels) {
  const std::string path = made("a.png", std::string(kRamp) + " +noise Random -depth 8");
  const std::string copy = directory_.file("copy.png");
  writeFile(copy, readFile(path));
  run({path});
  EXPECT_FALSE(shell("compare -metric AE '" + path + "' '" + copy + "' null: 2>/dev/null"));
  run({path});
  EXPECT_TRUE(shell("compare -metric AE '" + path + "' '" + copy + "' null: 2>/dev/null"));
}

TEST_F(Run, APalettePngKeepsItsIndicesAndChangesItsTable) {
  const std::string path = directory_.file("p.png");
  ASSERT_TRUE(
      shell("convert -size 8x8 xc:'rgb(10,20,30)' -fill 'rgb(200,100,50)' -draw "
            "'rectangle 0,0 3,3' -type Palette PNG8:'" +
            path + "'"));
  EXPECT_EQ(run({path}), PathList{path});
  EXPECT_EQ(pixel(path, 0, 0), "55,155,205");
  EXPECT_EQ(pixel(path, 7, 7), "245,235,225");
  // The colour type, byte 25 of the file, is still 3.
  EXPECT_EQ(readFile(path).at(25), 3);
}

}  // namespace
}  // namespace kelvo
