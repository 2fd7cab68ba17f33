#include "tests/image_io/png/png_test_support.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"
#include "platform/pixels/premultiply.h"

namespace kelvo::png_test {
namespace {

const Bytes& signature() {
  static const Bytes bytes = fromHex("89 50 4e 47 0d 0a 1a 0a");
  return bytes;
}

Bytes bigEndian(std::uint32_t value) {
  return {static_cast<std::byte>(value >> 24), static_cast<std::byte>(value >> 16),
          static_cast<std::byte>(value >> 8), static_cast<std::byte>(value)};
}

std::uint32_t number(const Bytes& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8 | std::to_integer<std::uint32_t>(bytes.at(at + i));
  }
  return value;
}

uLong checksum(const Bytes& bytes) {
  return crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
}

}  // namespace

Bytes fromNumbers(const std::vector<unsigned>& numbers) {
  Bytes bytes;
  for (const unsigned n : numbers) bytes.push_back(static_cast<std::byte>(n));
  return bytes;
}

Bytes chunkBytes(const Chunk& chunk) {
  const Bytes covered = concat({fromText(chunk.type), chunk.data});
  return concat({bigEndian(static_cast<std::uint32_t>(chunk.data.size())), covered,
                 bigEndian(static_cast<std::uint32_t>(checksum(covered)))});
}

Bytes header(unsigned width, unsigned height, unsigned depth, unsigned color, bool interlaced) {
  return concat({bigEndian(width), bigEndian(height),
                 fromNumbers({depth, color, 0, 0, interlaced ? 1U : 0U})});
}

Bytes compressed(const Bytes& rows) {
  uLongf size = compressBound(rows.size());
  Bytes packed(size);
  EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(packed.data()), &size,
                      reinterpret_cast<const Bytef*>(rows.data()), rows.size(), 1),
            Z_OK);
  packed.resize(size);
  return packed;
}

Bytes file(const std::vector<Chunk>& chunks) {
  Bytes all = signature();
  for (const Chunk& chunk : chunks) all = concat({all, chunkBytes(chunk)});
  return concat({all, chunkBytes({"IEND", {}})});
}

Bytes simpleFile(unsigned width, unsigned height, unsigned depth, unsigned color,
                 const std::vector<Bytes>& rows, const std::vector<Chunk>& between,
                 const std::vector<Chunk>& after) {
  Bytes data;
  for (const Bytes& row : rows) {
    data.push_back(std::byte{0});
    data.insert(data.end(), row.begin(), row.end());
  }
  std::vector<Chunk> chunks = {{"IHDR", header(width, height, depth, color, false)}};
  chunks.insert(chunks.end(), between.begin(), between.end());
  chunks.push_back({"IDAT", compressed(data)});
  chunks.insert(chunks.end(), after.begin(), after.end());
  return file(chunks);
}

std::vector<Chunk> chunksOf(const Bytes& file) {
  std::vector<Chunk> chunks;
  EXPECT_TRUE(std::equal(signature().begin(), signature().end(), file.begin()));
  std::size_t at = 8;
  while (at < file.size()) {
    const std::size_t length = number(file, at);
    Chunk chunk;
    if (at + 12 + length > file.size()) {
      ADD_FAILURE() << "a chunk reaches past the end of the file";
      break;
    }
    for (std::size_t i = 0; i < 4; ++i) chunk.type += static_cast<char>(file[at + 4 + i]);
    const auto data = file.begin() + static_cast<std::ptrdiff_t>(at + 8);
    chunk.data.assign(data, data + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(checksum(concat({fromText(chunk.type), chunk.data})), number(file, at + 8 + length))
        << chunk.type;
    chunks.push_back(chunk);
    at += 12 + length;
    if (chunk.type == "IEND") break;
  }
  return chunks;
}

std::vector<Chunk> chunksWithoutData(const Bytes& file) {
  std::vector<Chunk> chunks = chunksOf(file);
  std::erase_if(chunks, [](const Chunk& chunk) { return chunk.type == "IDAT"; });
  return chunks;
}

Bytes dataOf(const Bytes& file, std::string_view type) {
  Bytes all;
  for (const Chunk& chunk : chunksOf(file)) {
    if (chunk.type == type) all = concat({all, chunk.data});
  }
  return all;
}

std::unique_ptr<CodecSource> openSource(const Bytes& file, const Limits& limits) {
  auto source = kPngCodec.open(MappedFile::fromBytes(file), limits);
  if (!source) {
    ADD_FAILURE() << source.error().message;
    return nullptr;
  }
  return std::move(*source);
}

Result<Bytes> tryPixels(const Bytes& file, const Limits& limits) {
  auto source = kPngCodec.open(MappedFile::fromBytes(file), limits);
  if (!source) return std::move(source).error();
  auto image = (*source)->image(0);
  if (!image) return std::move(image).error();
  return readAllPixels(*image);
}

Bytes pixels(const Bytes& file) {
  auto read = tryPixels(file);
  if (!read) {
    ADD_FAILURE() << read.error().message;
    return {};
  }
  return *read;
}

std::vector<unsigned> samples8(const Bytes& file) {
  std::vector<unsigned> samples;
  for (const std::byte b : pixels(file)) samples.push_back(std::to_integer<unsigned>(b));
  return samples;
}

std::vector<unsigned> samples16(const Bytes& file) {
  const Bytes bytes = pixels(file);
  std::vector<unsigned> samples;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    std::uint16_t sample = 0;
    std::memcpy(&sample, &bytes[i], 2);
    samples.push_back(sample);
  }
  return samples;
}

CGImage unchanged(const CGImage& image) { return image; }

CGImage renderedDeep(const CGImage& image) {
  auto read = readAllPixels(image);
  EXPECT_TRUE(read.ok());
  Bytes bytes = *read;
  PixelLayout layout = image.layout;
  if (layout.components == 4 && layout.alpha == AlphaInfo::last) {
    if (layout.type == SampleType::u16) {
      premultiplyRGBA16({reinterpret_cast<std::uint16_t*>(bytes.data()), bytes.size() / 2});
    } else {
      vImagePremultiplyData_RGBA8888({reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size()});
    }
    layout.alpha = AlphaInfo::premultipliedLast;
  }
  CGImage result = CGImageCreateWithPixels(image.width, image.height, layout, std::move(bytes),
                                           image.colorSpace);
  result.palette = image.palette;
  return result;
}

CGImage rendered(const CGImage& image) {
  if (image.layout.type != SampleType::u16) return renderedDeep(image);
  auto read = readAllPixels(renderedDeep(image));
  EXPECT_TRUE(read.ok());
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < read->size(); i += 2) {
    std::uint16_t sample = 0;
    std::memcpy(&sample, &(*read)[i], 2);
    bytes.push_back(static_cast<std::byte>((sample * 255U + 32767U) / 65535U));
  }
  PixelLayout layout = image.layout;
  layout.type = SampleType::u8;
  if (layout.alpha == AlphaInfo::last) layout.alpha = AlphaInfo::premultipliedLast;
  return CGImageCreateWithPixels(image.width, image.height, layout, std::move(bytes),
                                 image.colorSpace);
}

Result<Bytes> tryRewrite(const Bytes& file, const CGImage& image, const EncodeOptions& options,
                         const Limits& limits) {
  auto source = kPngCodec.open(MappedFile::fromBytes(file), limits);
  if (!source) return std::move(source).error();
  auto properties = (*source)->properties(0);
  if (!properties) return std::move(properties).error();
  const int descriptor = memfd_create("png", MFD_CLOEXEC);
  EXPECT_GE(descriptor, 0);
  Bytes written;
  const Result<void> done = [&]() -> Result<void> {
    OutputFile out(descriptor);
    auto writer = kPngCodec.createWriter(out, 1, options);
    if (!writer) return std::move(writer).error();
    if (auto added = (*writer)->addImage(image, **properties); !added) return added;
    if (auto finished = (*writer)->finish(); !finished) return finished;
    written.resize(out.size());
    if (auto sought = out.seek(0); !sought) return sought;
    auto got = out.read(written);
    if (!got) return std::move(got).error();
    EXPECT_EQ(*got, written.size());
    return {};
  }();
  close(descriptor);
  if (!done) return done.error();
  return written;
}

Bytes rewrite(const Bytes& file, Adjust adjust, const EncodeOptions& options) {
  const auto source = openSource(file);
  if (source == nullptr) return {};
  auto image = source->image(0);
  if (!image) {
    ADD_FAILURE() << image.error().message;
    return {};
  }
  auto written = tryRewrite(file, adjust(*image), options);
  if (!written) {
    ADD_FAILURE() << written.error().message;
    return {};
  }
  return *written;
}

Bytes pixelsByOtherTool(const Bytes& file, std::string_view layout, unsigned depth) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.png"), file);
  run("convert '" + folder.path("in.png") + "' -endian LSB -depth " + std::to_string(depth) + " '" +
      std::string(layout) + ":" + folder.path("out.raw") + "'");
  return readFile(folder.path("out.raw"));
}

bool acceptedByPngcheck(const Bytes& file) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.png"), file);
  const std::string command = "pngcheck -q '" + folder.path("in.png") + "' > /dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

}  // namespace kelvo::png_test
