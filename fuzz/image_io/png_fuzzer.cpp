#include <fcntl.h>
#include <libdeflate.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

// Any bytes as a PNG file: read, written again around the same pixels, read again. Chunk checksums
// and the numbers of an animation's chunks are made to fit first, since no mutation would get past
// them.
namespace {

using kelvo::kPngCodec;

constexpr kelvo::Limits kLimits = {
    .maxPixels = 1'000'000, .maxFrames = 10, .maxMemoryBytes = 64ULL << 20};

void require(bool condition) {
  if (!condition) std::abort();
}

void put32(std::vector<std::byte>& bytes, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::byte>(value >> (24 - 8 * i));
}

void fitNumbersAndChecksums(std::vector<std::byte>& bytes) {
  std::uint32_t number = 0;
  std::size_t at = 8;
  while (at + 12 <= bytes.size()) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      length = length << 8 | std::to_integer<std::size_t>(bytes[at + i]);
    }
    if (length > bytes.size() - at - 12) return;
    const bool numbered =
        std::memcmp(&bytes[at + 4], "fcTL", 4) == 0 || std::memcmp(&bytes[at + 4], "fdAT", 4) == 0;
    if (numbered && length >= 4) put32(bytes, at + 8, number++);
    put32(bytes, at + 8 + length, libdeflate_crc32(0, &bytes[at + 4], length + 4));
    at += 12 + length;
  }
}

// Empty if the file cannot be written.
std::vector<std::byte> rewrite(const kelvo::CodecSource& source) {
  const int descriptor = memfd_create("png", MFD_CLOEXEC);
  require(descriptor >= 0);
  std::vector<std::byte> written;
  {
    kelvo::OutputFile out(descriptor);
    const auto writer = kPngCodec.createWriter(out, source.count(), {.keepDepth = true});
    require(writer.ok());
    bool good = true;
    for (std::size_t frame = 0; frame < source.count() && good; ++frame) {
      const auto image = source.image(frame);
      require(image.ok());
      good = (*writer)->addImage(*image, **source.properties(frame)).ok();
    }
    if (good) {
      require((*writer)->finish().ok());
      written.resize(out.size());
      require(out.seek(0).ok());
      require(out.read(written).ok());
    }
  }
  close(descriptor);
  return written;
}

void requireSamePixels(const kelvo::CGImage& image, const kelvo::CGImage& imageAgain) {
  const auto pixels = readAllPixels(image);
  const auto pixelsAgain = readAllPixels(imageAgain);
  if (!pixels.ok()) {
    // Indices are copied without a look at them, bad ones too.
    require(image.palette != nullptr && !pixelsAgain.ok());
    require(pixels.error().message == pixelsAgain.error().message);
    return;
  }
  require(pixelsAgain.ok());
  if (image.layout.alpha == kelvo::AlphaInfo::none || !image.palette) {
    require(image.layout == imageAgain.layout);
  }
  // The colour under a transparent pixel of a file with a colour key may become another one.
  const bool alpha = image.layout.components == 4;
  const std::size_t step = image.layout.pixelBytes();
  const std::size_t alphaBytes = image.layout.sampleBytes();
  require(pixels->size() == pixelsAgain->size());
  for (std::size_t i = 0; i < pixels->size(); i += step) {
    const auto* const p = pixels->data() + i;
    const auto* const q = pixelsAgain->data() + i;
    const std::size_t from = alpha ? step - alphaBytes : 0;
    require(std::memcmp(p + from, q + from, step - from) == 0);
    std::size_t opacity = 0;
    if (alpha) std::memcpy(&opacity, p + from, alphaBytes);
    if (!alpha || opacity != 0) require(std::memcmp(p, q, step) == 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::byte> bytes(size);
  if (size > 0) std::memcpy(bytes.data(), data, size);
  fitNumbersAndChecksums(bytes);
  const auto source = kPngCodec.open(kelvo::MappedFile::fromBytes(std::move(bytes)), kLimits);
  if (!source.ok()) return 0;
  for (std::size_t frame = 0; frame < (*source)->count(); ++frame) {
    const auto image = (*source)->image(frame);
    if (!image.ok()) return 0;
    static_cast<void>(readAllPixels(*image));
  }
  const auto written = rewrite(**source);
  if (written.empty()) return 0;
  // What could be written reads the same again.
  const auto again = kPngCodec.open(kelvo::MappedFile::fromBytes(written), kLimits);
  require(again.ok());
  require((*again)->status().status == kelvo::CGImageSourceStatus::complete);
  require((*again)->count() == (*source)->count());
  for (std::size_t frame = 0; frame < (*source)->count(); ++frame) {
    const auto imageAgain = (*again)->image(frame);
    require(imageAgain.ok());
    requireSamePixels(*(*source)->image(frame), *imageAgain);
  }
  return 0;
}
