#include "platform/image_io/codec_module.h"
#include "platform/image_io/tiff/directory.h"

// All that the main library knows of the format; the rest is loaded with the first such file.
namespace kelvo {
namespace {

constexpr char kModule[] = "kelvo-tiff";

bool matches(std::span<const std::byte> head) { return tiff::readHeader(head).ok(); }

}  // namespace

const Codec kTiffCodec = {
    .type = "public.tiff",
    .displayName = "TIFF",
    .matches = &matches,
    .open = &openByModule<kModule>,
    .createWriter = &createWriterByModule<kModule>,
};

}  // namespace kelvo
