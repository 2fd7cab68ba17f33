#include "tests/image_io/tools/codec_calls.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>

#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"
#include "platform/pixels/premultiply.h"

namespace kelvo::image_io_test {
namespace {

// The error of a source's rows comes out of the rendered picture's rows.
CGImage withoutRows(const CGImage& image, const Error& error) {
  CGImage result = image;
  if (result.layout.alpha == AlphaInfo::last) result.layout.alpha = AlphaInfo::premultipliedLast;
  result.openRows = [error]() -> Result<std::unique_ptr<RowSource>> { return error; };
  return result;
}

}  // namespace

std::unique_ptr<CodecSource> openSource(const Codec& codec, const Bytes& file,
                                        const Limits& limits) {
  auto source = codec.open(MappedFile::fromBytes(file), limits);
  if (!source) {
    ADD_FAILURE() << source.error().message;
    return nullptr;
  }
  return *std::move(source);
}

std::string openError(const Codec& codec, const Bytes& file, const Limits& limits) {
  auto source = codec.open(MappedFile::fromBytes(file), limits);
  return source ? "" : source.error().message;
}

Result<Bytes> tryPixels(const Codec& codec, const Bytes& file, std::size_t frame,
                        const Limits& limits) {
  auto source = codec.open(MappedFile::fromBytes(file), limits);
  if (!source) return std::move(source).error();
  if (frame >= (*source)->count()) return Error{"there is no such frame"};
  auto image = (*source)->image(frame);
  if (!image) return std::move(image).error();
  return readAllPixels(*image);
}

Bytes pixels(const Codec& codec, const Bytes& file, std::size_t frame) {
  auto read = tryPixels(codec, file, frame);
  if (!read) {
    ADD_FAILURE() << read.error().message;
    return {};
  }
  return *std::move(read);
}

CGImage renderedDeep(const CGImage& image) {
  if (image.palette) return image;
  auto bytes = readAllPixels(image);
  if (!bytes) return withoutRows(image, bytes.error());
  PixelLayout layout = image.layout;
  if (layout.alpha == AlphaInfo::last) {
    layout.alpha = AlphaInfo::premultipliedLast;
    if (layout.type == SampleType::u16) {
      premultiplyRGBA16({reinterpret_cast<std::uint16_t*>(bytes->data()), bytes->size() / 2});
    } else {
      vImagePremultiplyData_RGBA8888(
          {reinterpret_cast<std::uint8_t*>(bytes->data()), bytes->size()});
    }
  }
  return CGImageCreateWithPixels(image.width, image.height, layout, *std::move(bytes),
                                 image.colorSpace);
}

CGImage rendered(const CGImage& image) {
  CGImage result = renderedDeep(image);
  if (result.layout.type != SampleType::u16) return result;
  auto deep = readAllPixels(result);
  if (!deep) return withoutRows(image, deep.error());
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < deep->size(); i += 2) {
    std::uint16_t sample = 0;
    std::memcpy(&sample, &(*deep)[i], 2);
    bytes.push_back(static_cast<std::byte>((sample * 255U + 32767U) / 65535U));
  }
  result.layout.type = SampleType::u8;
  return CGImageCreateWithPixels(result.width, result.height, result.layout, std::move(bytes),
                                 result.colorSpace);
}

CGImage withSamples(const CGImage& image, const std::vector<unsigned>& samples) {
  PixelLayout layout = image.layout;
  layout.type = SampleType::u8;
  if (layout.alpha == AlphaInfo::last) layout.alpha = AlphaInfo::premultipliedLast;
  Bytes bytes;
  for (const unsigned sample : samples) bytes.push_back(static_cast<std::byte>(sample));
  EXPECT_EQ(bytes.size(), image.width * image.height * layout.pixelBytes());
  return CGImageCreateWithPixels(image.width, image.height, layout, std::move(bytes),
                                 image.colorSpace);
}

Result<Bytes> tryRewrite(const Codec& codec, const Bytes& file, const Adjust& adjust,
                         const EncodeOptions& options, const Limits& limits) {
  auto source = codec.open(MappedFile::fromBytes(file), limits);
  if (!source) return std::move(source).error();
  const FileDescriptor descriptor(memfd_create("rewritten", MFD_CLOEXEC));
  OutputFile out(descriptor.get());
  auto writer = codec.createWriter(out, (*source)->count(), options);
  if (!writer) return std::move(writer).error();
  for (std::size_t frame = 0; frame < (*source)->count(); ++frame) {
    auto image = (*source)->image(frame);
    if (!image) return std::move(image).error();
    auto properties = (*source)->properties(frame);
    if (!properties) return std::move(properties).error();
    if (auto added = (*writer)->addImage(adjust(*image), **properties); !added) {
      return std::move(added).error();
    }
  }
  if (auto finished = (*writer)->finish(); !finished) return std::move(finished).error();
  Bytes written(out.size());
  if (auto sought = out.seek(0); !sought) return std::move(sought).error();
  auto got = out.read(written);
  if (!got) return std::move(got).error();
  EXPECT_EQ(*got, written.size());
  return written;
}

Bytes rewrite(const Codec& codec, const Bytes& file, const Adjust& adjust,
              const EncodeOptions& options) {
  auto written = tryRewrite(codec, file, adjust, options);
  if (!written) {
    ADD_FAILURE() << written.error().message;
    return {};
  }
  return *std::move(written);
}

}  // namespace kelvo::image_io_test
