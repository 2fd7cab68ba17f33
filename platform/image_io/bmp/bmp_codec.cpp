#include "platform/image_io/bmp/bmp_header.h"
#include "platform/image_io/bmp/bmp_source.h"
#include "platform/image_io/bmp/bmp_writer.h"
#include "platform/image_io/codec.h"

namespace kelvo {

const Codec kBmpCodec = {.type = "com.microsoft.bmp",
                         .displayName = "BMP",
                         .matches = looksLikeBmp,
                         .open = openBmp,
                         .createWriter = createBmpWriter};

}  // namespace kelvo
