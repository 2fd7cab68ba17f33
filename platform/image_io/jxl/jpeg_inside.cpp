#include "platform/image_io/jxl/jpeg_inside.h"

#include <sys/mman.h>

#include <utility>

#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/jxl/library.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo::jxl {
namespace {

constexpr std::size_t kStep = 1 << 18;

Error damagedJpeg() { return Error{"the JPEG that it holds cannot be put together again"}; }

}  // namespace

Result<const CodecSource*> JpegInside::open() const {
  std::call_once(asked_, [this] { source_.emplace(unpack()); });
  if (!*source_) return source_->error();
  return static_cast<const CodecSource*>((*source_)->get());
}

// The library holds the content of metadata that belong into the JPEG, and has no limit for it.
Result<void> JpegInside::checkMetadata() const {
  std::uint64_t left = limits_.maxMemoryBytes / 4;
  for (const Box& box : heif::readBoxes(container_).boxes) {
    if (box.type != kCompressedBox) continue;
    const auto size = decompressedSize(box, left);
    if (!size) return size.error();
    left -= *size;
  }
  return {};
}

Result<std::unique_ptr<CodecSource>> JpegInside::unpack() const {
  if (auto fits = checkMetadata(); !fits) return std::move(fits).error();
  auto bytes = unpackJpeg(container_, limits_.maxMemoryBytes);
  if (!bytes) return std::move(bytes).error();
  auto source = kJpegCodec.open(MappedFile::fromBytes(*std::move(bytes)), limits_);
  if (!source) return Error{"of the JPEG that it holds: " + source.error().message};
  if ((*source)->count() != 1) return Error{"the JPEG that it holds has several pictures"};
  return source;
}

Result<std::vector<std::byte>> unpackJpeg(Bytes container, std::uint64_t mostBytes) {
  const Decoder owned(JxlDecoderCreate(nullptr));
  JxlDecoder* const decoder = owned.get();
  if (decoder == nullptr ||
      JxlDecoderSubscribeEvents(decoder, JXL_DEC_JPEG_RECONSTRUCTION | JXL_DEC_FULL_IMAGE) !=
          JXL_DEC_SUCCESS ||
      JxlDecoderSetInput(decoder, reinterpret_cast<const std::uint8_t*>(container.data()),
                         container.size()) != JXL_DEC_SUCCESS) {
    return Error{"the JPEG XL library is another version"};
  }
  std::vector<std::byte> jpeg;
  std::size_t filled = 0;
  const auto giveRoom = [&] {
    jpeg.resize(filled + kStep);
    return JxlDecoderSetJPEGBuffer(decoder, reinterpret_cast<std::uint8_t*>(jpeg.data() + filled),
                                   kStep) == JXL_DEC_SUCCESS;
  };
  for (;;) {
    switch (JxlDecoderProcessInput(decoder)) {
      case JXL_DEC_JPEG_RECONSTRUCTION:
        if (!giveRoom()) return damagedJpeg();
        break;
      case JXL_DEC_JPEG_NEED_MORE_OUTPUT:
        filled = jpeg.size() - JxlDecoderReleaseJPEGBuffer(decoder);
        if (filled > mostBytes) {
          return Error{"the JPEG that it holds is larger than the memory allowed (--max-memory)"};
        }
        if (!giveRoom()) return damagedJpeg();
        break;
      case JXL_DEC_FULL_IMAGE:
        if (jpeg.empty()) return damagedJpeg();
        jpeg.resize(jpeg.size() - JxlDecoderReleaseJPEGBuffer(decoder));
        return jpeg;
      default:
        return damagedJpeg();
    }
  }
}

Result<std::vector<std::byte>> packJpeg(Bytes jpeg, unsigned threads) {
  const Runner runner = makeRunner(threads);
  const Encoder owned(JxlEncoderCreate(nullptr));
  JxlEncoder* const encoder = owned.get();
  if (encoder == nullptr ||
      (runner && JxlEncoderSetParallelRunner(encoder, JxlThreadParallelRunner, runner.get()) !=
                     JXL_ENC_SUCCESS) ||
      JxlEncoderUseContainer(encoder, JXL_TRUE) != JXL_ENC_SUCCESS ||
      JxlEncoderStoreJPEGMetadata(encoder, JXL_TRUE) != JXL_ENC_SUCCESS) {
    return Error{"the picture cannot be encoded"};
  }
  JxlEncoderFrameSettings* const settings = JxlEncoderFrameSettingsCreate(encoder, nullptr);
  if (JxlEncoderAddJPEGFrame(settings, reinterpret_cast<const std::uint8_t*>(jpeg.data()),
                             jpeg.size()) != JXL_ENC_SUCCESS) {
    return Error{"the adjusted JPEG cannot be packed"};
  }
  JxlEncoderCloseInput(encoder);
  std::vector<std::byte> packed;
  for (;;) {
    const std::size_t filled = packed.size();
    packed.resize(filled + kStep);
    auto* next = reinterpret_cast<std::uint8_t*>(packed.data() + filled);
    std::size_t room = kStep;
    const JxlEncoderStatus status = JxlEncoderProcessOutput(encoder, &next, &room);
    packed.resize(filled + kStep - room);
    if (status == JXL_ENC_SUCCESS) return packed;
    if (status != JXL_ENC_NEED_MORE_OUTPUT) return Error{"the adjusted JPEG cannot be packed"};
  }
}

Result<std::vector<std::byte>> rewriteJpeg(const CodecSource& jpeg, const CGImage& image,
                                           const EncodeOptions& options) {
  const FileDescriptor file(::memfd_create("jpeg", MFD_CLOEXEC));
  OutputFile out(file.get());
  auto writer = kJpegCodec.createWriter(out, 1, options);
  if (!writer) return std::move(writer).error();
  const auto properties = jpeg.properties(0);
  if (!properties) return properties.error();
  if (auto added = (*writer)->addImage(image, **properties); !added) {
    return std::move(added).error();
  }
  if (auto finished = (*writer)->finish(); !finished) return std::move(finished).error();
  std::vector<std::byte> bytes(out.size());
  if (auto moved = out.seek(0); !moved) return std::move(moved).error();
  const auto read = out.read(bytes);
  if (!read) return read.error();
  if (*read != bytes.size()) return Error{"the adjusted JPEG cannot be read back"};
  return bytes;
}

}  // namespace kelvo::jxl
