#include "platform/image_io/jxl/decoder.h"

#include <utility>

#include "platform/image_io/jxl/library.h"

namespace kelvo::jxl {
namespace {

Error damagedPicture() { return Error{"the picture data are damaged"}; }

// A decoder of which this frame is the next.
Result<DecoderRest::Parts> begin(const JxlFile& file, std::size_t frame) {
  DecoderRest::Parts parts = {.runner = makeRunner(file.limits.threads),
                              .decoder = Decoder(JxlDecoderCreate(nullptr))};
  JxlDecoder* const decoder = parts.decoder.get();
  if (decoder == nullptr ||
      JxlDecoderSubscribeEvents(decoder, JXL_DEC_FULL_IMAGE) != JXL_DEC_SUCCESS ||
      JxlDecoderSetKeepOrientation(decoder, JXL_TRUE) != JXL_DEC_SUCCESS ||
      JxlDecoderSetCoalescing(decoder, JXL_FALSE) != JXL_DEC_SUCCESS ||
      (parts.runner && JxlDecoderSetParallelRunner(decoder, JxlThreadParallelRunner,
                                                   parts.runner.get()) != JXL_DEC_SUCCESS)) {
    return Error{"the JPEG XL library is another version"};
  }
  const Bytes codestream = file.container.codestream;
  if (JxlDecoderSetInput(decoder, reinterpret_cast<const std::uint8_t*>(codestream.data()),
                         codestream.size()) != JXL_DEC_SUCCESS) {
    return damagedPicture();
  }
  if (frame > 0) JxlDecoderSkipFrames(decoder, frame);
  return parts;
}

}  // namespace

JxlPixelFormat pixelFormat(const PixelLayout& layout) {
  return {.num_channels = layout.components,
          .data_type = layout.type == SampleType::u8 ? JXL_TYPE_UINT8 : JXL_TYPE_UINT16,
          .endianness = JXL_NATIVE_ENDIAN,
          .align = 0};
}

Result<std::vector<std::byte>> decodeFrame(const JxlFile& file, std::size_t frame) {
  // There may be any number of channels.
  if (!file.headers.obstacle.empty()) return Error{file.headers.obstacle};
  auto parts = file.rest.take(frame);
  if (!parts) {
    auto begun = begin(file, frame);
    if (!begun) return std::move(begun).error();
    parts = *std::move(begun);
  }
  JxlDecoder* const decoder = parts->decoder.get();
  const Frame& wanted = file.headers.frames[frame];
  const PixelLayout layout = layoutOf(file.headers);
  const JxlPixelFormat format = pixelFormat(layout);
  std::vector<std::byte> pixels;
  for (;;) {
    switch (JxlDecoderProcessInput(decoder)) {
      case JXL_DEC_NEED_IMAGE_OUT_BUFFER: {
        std::size_t size = 0;
        if (JxlDecoderImageOutBufferSize(decoder, &format, &size) != JXL_DEC_SUCCESS ||
            size != std::size_t{wanted.width} * wanted.height * layout.pixelBytes()) {
          return damagedPicture();
        }
        pixels.resize(size);
        if (JxlDecoderSetImageOutBuffer(decoder, &format, pixels.data(), size) != JXL_DEC_SUCCESS) {
          return damagedPicture();
        }
        break;
      }
      case JXL_DEC_FULL_IMAGE:
        if (pixels.empty()) return damagedPicture();
        if (frame + 1 < file.headers.frames.size()) {
          file.rest.keep(*std::move(parts), frame + 1);
        } else if (JxlDecoderReleaseInput(decoder) != 0) {
          return Error{"the picture data are damaged: more follow than the pictures take"};
        }
        return pixels;
      case JXL_DEC_NEED_MORE_INPUT:
        return Error{"the picture data end early"};
      default:
        return damagedPicture();
    }
  }
}

}  // namespace kelvo::jxl
