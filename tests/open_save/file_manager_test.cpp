#include "platform/open_save/file_manager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "platform/image/ci_filter.h"
#include "platform/image/render.h"
#include "platform/image_io/cg_image_source.h"
#include "tests/support/temporary_directory.h"

namespace kelvo {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::shell;
using testing::writeFile;

std::string sample(const std::string& name) {
  return std::string(KELVO_SOURCE_DIR "/resources/samples/") + name;
}

std::vector<std::byte> pixelsOf(const std::string& path) {
  const auto source = CGImageSourceCreateWithURL(NSURL::fileURLWithPath(path));
  const auto image = source ? CGImageSourceCreateImageAtIndex(**source, 0) : source.error();
  const auto pixels = image ? readAllPixels(*image) : image.error();
  EXPECT_TRUE(pixels) << path << ": " << pixels.error().message;
  return pixels ? *pixels : std::vector<std::byte>();
}

class FileManager : public ::testing::Test {
 protected:
  std::string copyOf(const std::string& name) {
    const std::string path = directory_.file(name);
    fs::copy_file(sample(name), path);
    return path;
  }

  // What went wrong; empty if nothing did.
  std::string resave(const std::string& from, const std::string& to) {
    const auto error = files_.TQOSF_ResaveImageAtURL_toURL(NSURL::fileURLWithPath(from),
                                                           NSURL::fileURLWithPath(to));
    return error ? error->localizedDescription() : "";
  }

  std::string open(const std::string& path) {
    image_.reset();
    information_.reset();
    type_.clear();
    std::optional<NSError> error;
    image_ = files_.TQOSF_CGImageAtURL_infoDictionary_imageUTI_readError(
        NSURL::fileURLWithPath(path), &information_, &type_, &error);
    EXPECT_NE(image_.has_value(), error.has_value());
    return error ? error->localizedDescription() : "";
  }

  std::string save(const CGImage& image, const std::string& path) {
    std::optional<NSError> error;
    files_.TQOSF_SaveCGImage_atURL_infoDictionary_imageUTI_writeError(
        image, NSURL::fileURLWithPath(path), information_, type_, &error);
    return error ? error->localizedDescription() : "";
  }

  [[nodiscard]] CGImage inverted() const {
    const CIFilterRef invert = CIFilter::filterWithName("CIColorInvert");
    invert->setValue_forKey(CIImage::imageWithCGImage(*image_), "inputImage");
    return *render(invert->outputImage(), {});
  }

  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory_.path())) {
      names.push_back(entry.path().filename());
    }
    std::ranges::sort(names);
    return names;
  }

  testing::TemporaryDirectory directory_;
  CodecFileManager files_;
  std::optional<CGImage> image_;
  ImageInformationRef information_;
  std::string type_;
};

// Re-saving

TEST_F(FileManager, ResavesAnImageWithoutChangingAByte) {
  for (const auto& [name, target] :
       std::initializer_list<std::pair<const char*, const char*>>{{"lake.jpg", "lake.jpeg"},
                                                                  {"leaf.png", "other.PNG"},
                                                                  {"chart.tif", "chart.tiff"},
                                                                  {"deep.tif", "deep.tiff"},
                                                                  {"two-pages.tif", "pages.TIF"}}) {
    const std::string to = directory_.file(target);
    EXPECT_EQ(resave(sample(name), to), "") << name;
    EXPECT_EQ(readFile(to), readFile(sample(name))) << name;
  }
}

TEST_F(FileManager, ReplacesATargetAndKeepsItsMode) {
  const std::string target = directory_.file("photo.jpeg");
  writeFile(target, "something else");
  ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
  EXPECT_EQ(resave(sample("lake.jpg"), target), "");
  EXPECT_EQ(readFile(target), readFile(sample("lake.jpg")));
  EXPECT_EQ(fs::status(target).permissions(), fs::perms{0640});
  EXPECT_EQ(names(), std::vector<std::string>{"photo.jpeg"});
}

TEST_F(FileManager, LeavesAFileAloneThatIsItsOwnTarget) {
  const std::string file = copyOf("lake.jpg");
  struct stat before = {};
  struct stat after = {};
  ASSERT_EQ(::stat(file.c_str(), &before), 0);
  EXPECT_EQ(resave(file, file), "");
  ASSERT_EQ(::stat(file.c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(readFile(file), readFile(sample("lake.jpg")));
}

TEST_F(FileManager, SavesAnImageInAnotherFormat) {
  const std::string png = directory_.file("lake.png");
  EXPECT_EQ(resave(sample("lake.jpg"), png), "");
  EXPECT_EQ(pixelsOf(png), pixelsOf(sample("lake.jpg")));
  const std::string jpeg = directory_.file("chart.JPG");
  EXPECT_EQ(resave(sample("chart.tif"), jpeg), "");
  ASSERT_EQ(open(jpeg), "");
  EXPECT_EQ(type_, "public.jpeg");
}

TEST_F(FileManager, SaysWhichFormatItDoesNotMake) {
  const std::string failed = "The image could not be saved under its new name ";
  EXPECT_EQ(resave(sample("lake.jpg"), directory_.file("lake.gif")),
            failed + "(from JPEG, no gif file can be made)");
  EXPECT_EQ(resave(sample("lake.jpg"), directory_.file("lake.txt")),
            failed + "(no image format has the extension txt)");
  EXPECT_EQ(resave(sample("lake.jpg"), directory_.file("lake")),
            failed + "(the new name has no extension)");
  EXPECT_EQ(names(), std::vector<std::string>());
}

// The contents decide what a file is, and its own name may say otherwise.
TEST_F(FileManager, GoesByTheContentsOfTheSource) {
  const std::string misnamed = directory_.file("photo.png");
  fs::copy_file(sample("lake.jpg"), misnamed);
  EXPECT_EQ(resave(misnamed, directory_.file("photo.jpg")), "");
  EXPECT_EQ(readFile(directory_.file("photo.jpg")), readFile(sample("lake.jpg")));
}

TEST_F(FileManager, NeverWritesPhotoshopDocuments) {
  const std::string document = directory_.file("a.psd");
  ASSERT_TRUE(shell("convert -size 4x4 xc:red '" + document + "'"));
  EXPECT_EQ(resave(document, directory_.file("b.psd")),
            "The image could not be saved under its new name (Photoshop files are never written)");
}

TEST_F(FileManager, HandsNoDamageOn) {
  const std::string target = directory_.file("target.jpeg");
  writeFile(target, "old");
  const std::string whole = readFile(sample("lake.jpg"));
  const std::string damaged = directory_.file("damaged.jpg");
  writeFile(damaged, whole.substr(0, whole.size() / 2));
  EXPECT_NE(resave(damaged, target), "");
  // Damage that only decoding finds: the end of the entropy-coded data is missing.
  writeFile(damaged, whole.substr(0, whole.size() / 2) + "\xff\xd9");
  EXPECT_NE(resave(damaged, target), "");
  writeFile(damaged, "no image at all");
  EXPECT_EQ(resave(damaged, target),
            "The image could not be saved under its new name (its contents are of no known image "
            "format)");
  EXPECT_EQ(readFile(target), "old");
}

TEST_F(FileManager, SaysWhereItCannotWrite) {
  EXPECT_NE(resave(sample("lake.jpg"), directory_.file("none/lake.jpeg")), "");
  fs::create_directory(directory_.file("folder.jpeg"));
  EXPECT_EQ(resave(sample("lake.jpg"), directory_.file("folder.jpeg")),
            "The image could not be saved under its new name (it is a directory)");
  const std::string locked = directory_.file("locked.jpeg");
  writeFile(locked, "old");
  ASSERT_EQ(::chmod(locked.c_str(), 0444), 0);
  EXPECT_NE(resave(sample("lake.jpg"), locked), "");
  EXPECT_EQ(readFile(locked), "old");
}

// Opening

TEST_F(FileManager, OpensAnImageWithItsType) {
  ASSERT_EQ(open(sample("lake.jpg")), "");
  EXPECT_EQ(type_, "public.jpeg");
  EXPECT_NE(information_, nullptr);
  const auto pixels = readAllPixels(*image_);
  ASSERT_TRUE(pixels);
  EXPECT_EQ(*pixels, pixelsOf(sample("lake.jpg")));
  ASSERT_EQ(open(sample("leaf.png")), "");
  EXPECT_EQ(type_, "public.png");
  ASSERT_EQ(open(sample("chart.tif")), "");
  EXPECT_EQ(type_, "public.tiff");
}

TEST_F(FileManager, SaysWhyItCannotOpen) {
  EXPECT_EQ(open(directory_.file("none.jpg")),
            "The image could not be opened (the file could not be found: there is no such file)");
  writeFile(directory_.file("text.jpg"), "no image");
  EXPECT_EQ(open(directory_.file("text.jpg")),
            "The image could not be opened (its contents are of no known image format)");
  const std::string whole = readFile(sample("lake.jpg"));
  writeFile(directory_.file("short.jpg"), whole.substr(0, whole.size() / 2));
  EXPECT_NE(open(directory_.file("short.jpg")), "");
  const std::string gray = directory_.file("gray.png");
  ASSERT_TRUE(shell("convert -size 4x4 xc:gray50 -colorspace Gray '" + gray + "'"));
  EXPECT_EQ(open(gray), "The image could not be opened (only RGB images are opened)");
}

// Saving

TEST_F(FileManager, SavesOverTheFileThatWasRead) {
  for (const char* name : {"harbour.png", "poster.png", "leaf.png", "chart.tif", "lake.jpg"}) {
    const std::string file = copyOf(name);
    ASSERT_EQ(open(file), "") << name;
    const CGImage changed = inverted();
    const auto expected = readAllPixels(changed);
    ASSERT_TRUE(expected);
    ASSERT_EQ(save(changed, file), "") << name;
    const bool lossless = type_ != "public.jpeg";
    ASSERT_EQ(open(file), "") << name;
    const auto stored = readAllPixels(*render(CIImage::imageWithCGImage(*image_), {}));
    ASSERT_TRUE(stored);
    if (lossless) {
      EXPECT_EQ(*stored, *expected) << name;
    }
    EXPECT_NE(pixelsOf(file), pixelsOf(sample(name))) << name;
  }
}

TEST_F(FileManager, KeepsWhatWasInTheFile) {
  const std::string file = copyOf("lake.jpg");
  ASSERT_TRUE(
      shell("exiftool -q -overwrite_original -Artist=Somebody -Orientation#=6 '" + file + "'"));
  ASSERT_EQ(open(file), "");
  ASSERT_EQ(save(inverted(), file), "");
  const std::string told = directory_.file("told.txt");
  ASSERT_TRUE(shell("exiftool -s3 -Artist -Orientation# '" + file + "' > '" + told + "'"));
  EXPECT_EQ(readFile(told), "Somebody\n6\n");
}

TEST_F(FileManager, SavesIntoANewFileAndOverAnother) {
  ASSERT_EQ(open(sample("harbour.png")), "");
  const CGImage changed = inverted();
  const std::string fresh = directory_.file("fresh.png");
  ASSERT_EQ(save(changed, fresh), "");
  EXPECT_EQ(pixelsOf(fresh), *readAllPixels(changed));
  const std::string other = directory_.file("other.png");
  writeFile(other, "old");
  ASSERT_EQ(save(changed, other), "");
  EXPECT_EQ(readFile(other), readFile(fresh));
  EXPECT_EQ(names(), (std::vector<std::string>{"fresh.png", "other.png"}));
}

// A filter may give an opaque picture an alpha that is not known to be 1.
TEST_F(FileManager, LeavesOutTheAlphaThatTheFileHadNot) {
  const std::string file = copyOf("lake.jpg");
  ASSERT_EQ(open(file), "");
  const CIFilterRef matrix = CIFilter::filterWithName("CIColorMatrix");
  matrix->setDefaults();
  matrix->setValue_forKey(CIVector::vectorWithX_Y_Z_W(0.001, 0, 0, 1), "inputAVector");
  matrix->setValue_forKey(CIImage::imageWithCGImage(*image_), "inputImage");
  const auto changed = render(matrix->outputImage(), {});
  ASSERT_TRUE(changed);
  ASSERT_EQ(changed->layout.components, 4);
  EXPECT_EQ(save(*changed, file), "");
  ASSERT_EQ(open(file), "");
  EXPECT_EQ(image_->layout.components, 3);
}

TEST_F(FileManager, WouldNotLoseTheOtherImagesOfAFile) {
  const std::string file = copyOf("two-pages.tif");
  ASSERT_EQ(open(file), "");
  EXPECT_EQ(save(inverted(), file),
            "The image could not be saved (its file holds 2 images, and the others would be lost)");
  EXPECT_EQ(readFile(file), readFile(sample("two-pages.tif")));
}

TEST_F(FileManager, SavesOnlyWhatFitsWhatWasRead) {
  const std::string file = copyOf("harbour.png");
  const std::string before = readFile(file);
  ASSERT_EQ(open(file), "");
  const CGImage small = CGImageCreateWithPixels(1, 1, {3, SampleType::u8, AlphaInfo::none},
                                                std::vector<std::byte>(3), nullptr);
  EXPECT_EQ(save(small, file),
            "The image could not be saved (the picture has become 1 x 1 pixels)");
  EXPECT_EQ(save(CGImage{}, file), "The image could not be saved (there is no image)");
  const CGImage good = inverted();
  type_ = "public.jpeg";
  EXPECT_NE(save(good, file), "");
  type_ = "public.none";
  EXPECT_EQ(save(good, file),
            "The image could not be saved (there is no image format of type public.none)");
  information_ = nullptr;
  type_ = "public.png";
  EXPECT_EQ(save(good, file),
            "The image could not be saved (what was read with the image is missing)");
  EXPECT_EQ(readFile(file), before);
  EXPECT_EQ(names(), std::vector<std::string>{"harbour.png"});
}

TEST_F(FileManager, LeavesTheFileWhenItsPixelsAreDamaged) {
  std::string bytes = readFile(sample("lake.jpg"));
  const std::string damaged = bytes.substr(0, bytes.size() / 2) + "\xff\xd9";
  const std::string file = directory_.file("lake.jpg");
  writeFile(file, damaged);
  ASSERT_EQ(open(file), "") << "the structure is whole";
  EXPECT_NE(save(inverted(), file), "");
  EXPECT_EQ(readFile(file), damaged);
}

}  // namespace
}  // namespace kelvo
