#pragma once

#include <functional>
#include <string>
#include <vector>

#include <jxl/encode.h>

#include "platform/image_io/codec.h"
#include "tests/image_io/boxes/box_files.h"
#include "tests/image_io/boxes/pictures.h"
#include "tests/image_io/boxes/whole_files.h"
#include "tests/image_io/tools/codec_calls.h"
#include "tests/image_io/tools/other_tools.h"

namespace kelvo::image_io_test {

// A file made by cjxl of the smooth picture, `maximum` being 255 or 65535.
Bytes makeJxl(const std::string& options, unsigned width = 120, unsigned height = 90,
              bool alpha = false, unsigned maximum = 255);

// A bare codestream of one or more frames, each of the smooth picture, made by the library. The
// hooks change what the library is told before it is told.
struct LibraryFile {
  unsigned width = 40;
  unsigned height = 30;
  bool alpha = false;
  std::size_t frames = 1;
  bool lossless = true;
  std::vector<std::string> names = {};  // of the frames; none: no names
  std::function<void(JxlBasicInfo& info)> basics = [](JxlBasicInfo&) {};
  std::function<void(JxlEncoder* encoder)> channels = [](JxlEncoder*) {};
  std::function<void(JxlEncoderFrameSettings* settings, JxlFrameHeader& header, std::size_t frame)>
      frame = [](JxlEncoderFrameSettings*, JxlFrameHeader&, std::size_t) {};
};
Bytes makeByLibrary(const LibraryFile& file);

// The samples of a picture as djxl gives them, "RGB" or "RGBA", 8 bits each unless told otherwise.
Bytes jxlPixels(const Bytes& file, const std::string& layout = "RGB", unsigned depth = 8);

// A container with a bare codestream in it, boxes before and after it.
Bytes container(const Bytes& codestream, const Bytes& before = {}, const Bytes& after = {});
std::vector<std::string> boxTypes(const Bytes& file);
// The payload of the first box of a type.
Bytes payload(const Bytes& file, const std::string& type);

}  // namespace kelvo::image_io_test
