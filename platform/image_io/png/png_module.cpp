#include "platform/image_io/codec_module.h"
#include "platform/image_io/png/png_source.h"
#include "platform/image_io/png/png_writer.h"

extern "C" const kelvo::CodecModule* kelvoCodecModule() {
  static const kelvo::CodecModule module = {.open = &kelvo::openPng,
                                            .createWriter = &kelvo::createPngWriter};
  return &module;
}
