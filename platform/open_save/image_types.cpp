#include "platform/open_save/image_types.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kelvo {
namespace {

constexpr auto kTypes = std::to_array<std::pair<std::string_view, std::string_view>>({
    {"jpg", "public.jpeg"},
    {"jpeg", "public.jpeg"},
    {"jpe", "public.jpeg"},
    {"jfif", "public.jpeg"},
    {"png", "public.png"},
    {"apng", "public.png"},
    {"tif", "public.tiff"},
    {"tiff", "public.tiff"},
    {"gif", "com.compuserve.gif"},
    {"webp", "org.webmproject.webp"},
    {"bmp", "com.microsoft.bmp"},
    {"dib", "com.microsoft.bmp"},
    {"heic", "public.heic"},
    {"avif", "public.avif"},
    {"jxl", "public.jpeg-xl"},
    {"jp2", "public.jpeg-2000"},
    {"psd", "com.adobe.photoshop-image"},
});

char lowered(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

std::string_view imageTypeForExtension(std::string_view extension) {
  const auto* const found = std::ranges::find_if(kTypes, [&](const auto& one) {
    return std::ranges::equal(one.first, extension, {}, {}, lowered);
  });
  return found == kTypes.end() ? std::string_view() : found->second;
}

}  // namespace kelvo
