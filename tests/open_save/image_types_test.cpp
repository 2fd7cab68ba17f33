#include "platform/open_save/image_types.h"

#include <gtest/gtest.h>

#include <string_view>
#include <utility>

namespace kelvo {
namespace {

TEST(ImageTypes, AreToldFromTheExtension) {
  for (const auto& [extension, type] : std::initializer_list<std::pair<const char*, const char*>>{
           {"jpg", "public.jpeg"},
           {"jpeg", "public.jpeg"},
           {"png", "public.png"},
           {"tif", "public.tiff"},
           {"tiff", "public.tiff"},
           {"gif", "com.compuserve.gif"},
           {"webp", "org.webmproject.webp"},
           {"bmp", "com.microsoft.bmp"},
           {"heic", "public.heic"},
           {"avif", "public.avif"},
           {"jxl", "public.jpeg-xl"},
           {"jp2", "public.jpeg-2000"},
           {"psd", "com.adobe.photoshop-image"}}) {
    EXPECT_EQ(imageTypeForExtension(extension), type) << extension;
  }
}

TEST(ImageTypes, DoNotDependOnCase) {
  EXPECT_EQ(imageTypeForExtension("JPG"), "public.jpeg");
  EXPECT_EQ(imageTypeForExtension("Tiff"), "public.tiff");
}

TEST(ImageTypes, AreEmptyForOtherExtensions) {
  for (const char* extension : {"", "txt", "jp", "jpgg", ".jpg", "jpg "}) {
    EXPECT_EQ(imageTypeForExtension(extension), "") << extension;
  }
}

}  // namespace
}  // namespace kelvo
