#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/heif/structure.h"
#include "tests/image_io/boxes/box_files.h"
#include "tests/image_io/boxes/pictures.h"
#include "tests/image_io/boxes/whole_files.h"
#include "tests/image_io/tools/codec_calls.h"
#include "tests/image_io/tools/other_tools.h"

namespace kelvo::image_io_test {

// Writes the smooth picture as a PNG of 8 bits.
void writePicture(const std::string& path, unsigned width, unsigned height, bool alpha = false);

// A file made of such a picture by heif-enc or avifenc.
Bytes makeHeic(const std::string& options, unsigned width = 160, unsigned height = 120,
               bool alpha = false);
Bytes makeAvif(const std::string& options, unsigned width = 160, unsigned height = 120,
               bool alpha = false);

// The file's pixels as another program sees them: heif-convert or avifdec, by way of ImageMagick.
Bytes heicPixels(const Bytes& file, const std::string& layout = "RGB");
Bytes avifPixels(const Bytes& file, const std::string& layout = "RGB");
// What avifdec tells about the file.
std::string avifInfo(const Bytes& file);

// The file with every occurrence of a text replaced by another of the same length. Fails the test
// if there is none.
Bytes patched(Bytes file, std::string_view from, std::string_view to);

// The data of all items of a kind, one after the other.
std::vector<Bytes> itemData(const Bytes& file, const char (&type)[5]);
// The payloads of all properties of a kind.
std::vector<Bytes> propertyData(const Bytes& file, const char (&type)[5]);

}  // namespace kelvo::image_io_test
