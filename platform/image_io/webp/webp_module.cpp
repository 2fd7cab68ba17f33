#include "platform/image_io/codec_module.h"
#include "platform/image_io/webp/webp_source.h"
#include "platform/image_io/webp/webp_writer.h"

extern "C" const kelvo::CodecModule* kelvoCodecModule() {
  static const kelvo::CodecModule module = {.open = &kelvo::openWebp,
                                            .createWriter = &kelvo::createWebpWriter};
  return &module;
}
