#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

// Any bytes as a GIF file: read, written with unchanged tables, which must give the same bytes, and
// written with another table for each frame, which must read back as each frame's own colours.
namespace {

using kelvo::kGifCodec;
using Bytes = std::vector<std::byte>;

constexpr kelvo::Limits kLimits = {
    .maxPixels = 1 << 18, .maxFrames = 20, .maxMemoryBytes = 32ULL << 20};

void require(bool condition) {
  if (!condition) std::abort();
}

std::uint8_t changed(std::uint8_t level, std::size_t frame) {
  return static_cast<std::uint8_t>(level ^ (17 * frame + 85));
}

kelvo::CGImage changed(kelvo::CGImage image, std::size_t frame) {
  kelvo::Palette palette = *image.palette;
  for (auto& entry : palette) {
    for (std::size_t c = 0; c < 3; ++c) entry[c] = changed(entry[c], frame);
  }
  image.palette = std::make_shared<const kelvo::Palette>(palette);
  return image;
}

Bytes written(const kelvo::CodecSource& source, const std::vector<kelvo::CGImage>& images) {
  const kelvo::FileDescriptor file(::memfd_create("gif", MFD_CLOEXEC));
  kelvo::OutputFile out(file.get());
  const auto writer = kGifCodec.createWriter(out, images.size(), {});
  require(writer.ok());
  for (std::size_t i = 0; i < images.size(); ++i) {
    require((*writer)->addImage(images[i], **source.properties(i)).ok());
  }
  require((*writer)->finish().ok());
  Bytes bytes(out.size());
  require(out.seek(0).ok() && out.read(bytes).ok());
  return bytes;
}

// The frames of the new file have the old ones' pixels in their new colours.
void checkPixels(const kelvo::CodecSource& before, const Bytes& bytes) {
  const auto after = kGifCodec.open(kelvo::MappedFile::fromBytes(bytes), kLimits);
  require(after.ok() && (*after)->count() == before.count());
  require((*after)->status().status == kelvo::CGImageSourceStatus::complete);
  for (std::size_t frame = 0; frame < before.count(); ++frame) {
    const auto oldImage = before.image(frame);
    const auto newImage = (*after)->image(frame);
    require(newImage.ok() && newImage->layout == oldImage->layout);
    const auto oldPixels = readAllPixels(*oldImage);
    const auto newPixels = readAllPixels(*newImage);
    require(oldPixels.ok() && newPixels.ok() && oldPixels->size() == newPixels->size());
    const std::size_t components = oldImage->layout.components;
    for (std::size_t i = 0; i < oldPixels->size(); i += components) {
      if (components == 4) require((*oldPixels)[i + 3] == (*newPixels)[i + 3]);
      if (components == 4 && (*oldPixels)[i + 3] == std::byte{0}) continue;
      for (std::size_t c = 0; c < 3; ++c) {
        const auto level = std::to_integer<std::uint8_t>((*oldPixels)[i + c]);
        require(std::to_integer<std::uint8_t>((*newPixels)[i + c]) == changed(level, frame));
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto* const begin = reinterpret_cast<const std::byte*>(data);
  const Bytes bytes(begin, begin + size);
  if (!kGifCodec.matches(bytes)) return -1;
  const auto source = kGifCodec.open(kelvo::MappedFile::fromBytes(bytes), kLimits);
  if (!source) return 0;
  std::vector<kelvo::CGImage> images;
  for (std::size_t frame = 0; frame < (*source)->count(); ++frame) {
    const auto image = (*source)->image(frame);
    if (image) images.push_back(*image);
  }
  if (images.size() != (*source)->count() ||
      (*source)->status().status != kelvo::CGImageSourceStatus::complete) {
    return 0;
  }
  require(written(**source, images) == bytes);
  for (std::size_t frame = 0; frame < images.size(); ++frame) {
    images[frame] = changed(images[frame], frame);
  }
  checkPixels(**source, written(**source, images));
  return 0;
}
