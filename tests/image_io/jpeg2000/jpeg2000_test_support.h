#pragma once

#include <string>

#include "platform/image_io/codec.h"
#include "tests/image_io/boxes/box_files.h"
#include "tests/image_io/boxes/pictures.h"
#include "tests/image_io/boxes/whole_files.h"
#include "tests/image_io/tools/codec_calls.h"
#include "tests/image_io/tools/other_tools.h"

namespace kelvo::image_io_test {

// What opj_compress makes of the smooth picture, with an extension of jp2 or j2k. Above 8 bits,
// samples have two bytes, and the lower one changes from sample to sample.
Bytes makeJpeg2000(const std::string& options = "", const std::string& extension = "jp2",
                   unsigned width = 120, unsigned height = 90, bool alpha = false,
                   unsigned bits = 8);

// The samples as opj_decompress gives them, by way of ImageMagick: "RGB" or "RGBA".
Bytes seenPixels(const Bytes& file, const std::string& layout = "RGB", unsigned depth = 8,
                 const std::string& extension = "jp2");
// What opj_dump tells of how the codestream is stored, without what depends on the pixels.
std::string form(const Bytes& file, const std::string& extension = "jp2");

// The payload of the first box of a type, at the outside or in the header.
Bytes payload(const Bytes& file, const std::string& type);
// The file with the payload of such a box replaced, or with boxes added at the end of the header.
Bytes withPayload(const Bytes& file, const std::string& type, const Bytes& fresh);
Bytes withHeaderBoxes(const Bytes& file, const Bytes& added);

}  // namespace kelvo::image_io_test
