#include "tests/image_io/png/png_animation_support.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <filesystem>

#include "engine/basic_adjustments.h"
#include "engine/equalize.h"
#include "engine/filter_globals.h"
#include "platform/image/render.h"
#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo::png_test {
namespace {

Bytes number32(unsigned value) {
  return fromNumbers({value >> 24, value >> 16 & 255U, value >> 8 & 255U, value & 255U});
}

Bytes number16(unsigned value) { return fromNumbers({value >> 8, value & 255U}); }

Bytes part(const Bytes& bytes, std::size_t at, std::size_t size) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(at),
          bytes.begin() + static_cast<std::ptrdiff_t>(at + size)};
}

CGImage adjusted(const CGImage& image, CIImageRef (*adjustment)(const CIImageRef&)) {
  registerAdjustmentFilters();
  auto result =
      render(adjustment(CIImage::imageWithCGImage(image)),
             {.dropAlpha = image.layout.alpha == AlphaInfo::none, .colorSpace = image.colorSpace});
  if (!result) {
    ADD_FAILURE() << result.error().message;
    return image;
  }
  return *result;
}

}  // namespace

Chunk acTL(unsigned frames, unsigned plays) {
  return {"acTL", concat({number32(frames), number32(plays)})};
}

Chunk fcTL(const Control& control) {
  return {"fcTL",
          concat({number32(control.number), number32(control.width), number32(control.height),
                  number32(control.x), number32(control.y), number16(control.delay),
                  number16(control.delayParts), fromNumbers({control.dispose, control.blend})})};
}

Chunk fdAT(unsigned number, const Bytes& data) {
  return {"fdAT", concat({number32(number), data})};
}

Bytes pictureData(const std::vector<Bytes>& rows) {
  Bytes data;
  for (const Bytes& row : rows) data = concat({data, fromHex("00"), row});
  return compressed(data);
}

std::vector<Bytes> picturesOf(const Bytes& bytes) {
  std::vector<Chunk> start;
  std::vector<std::vector<Chunk>> pictures(1);
  for (const Chunk& chunk : chunksOf(bytes)) {
    if (chunk.type == "IHDR" || chunk.type == "PLTE" || chunk.type == "tRNS") {
      start.push_back(chunk);
    } else if (chunk.type == "IDAT") {
      if (pictures.front().empty()) pictures.front() = start;
      pictures.front().push_back(chunk);
    } else if (chunk.type == "fcTL" && !pictures.front().empty()) {
      pictures.push_back(start);
      Bytes& header = pictures.back().front().data;
      header = concat({part(chunk.data, 4, 8), part(header, 8, 5)});
    } else if (chunk.type == "fdAT") {
      pictures.back().push_back({"IDAT", part(chunk.data, 4, chunk.data.size() - 4)});
    }
  }
  std::vector<Bytes> files;
  for (const auto& picture : pictures) files.push_back(file(picture));
  return files;
}

std::vector<Chunk> chunksAroundData(const Bytes& bytes) {
  std::vector<Chunk> chunks;
  unsigned expected = 0;
  for (Chunk chunk : chunksOf(bytes)) {
    if (chunk.type == "fcTL" || chunk.type == "fdAT") {
      EXPECT_EQ(part(chunk.data, 0, 4), number32(expected++)) << chunk.type;
      chunk.data.erase(chunk.data.begin(), chunk.data.begin() + 4);
    }
    if (chunk.type != "IDAT" && chunk.type != "fdAT") chunks.push_back(chunk);
  }
  return chunks;
}

Result<Bytes> tryRewriteFrames(const Bytes& bytes, const AdjustFrame& adjust,
                               const EncodeOptions& options, const Limits& limits) {
  auto source = kPngCodec.open(MappedFile::fromBytes(bytes), limits);
  if (!source) return std::move(source).error();
  if (auto writable = (*source)->writable(); !writable) return std::move(writable).error();
  const FileDescriptor descriptor(::memfd_create("png", MFD_CLOEXEC));
  EXPECT_GE(descriptor.get(), 0);
  OutputFile out(descriptor.get());
  auto writer = kPngCodec.createWriter(out, (*source)->count(), options);
  if (!writer) return std::move(writer).error();
  for (std::size_t frame = 0; frame < (*source)->count(); ++frame) {
    auto image = (*source)->image(frame);
    if (!image) return std::move(image).error();
    const auto properties = (*source)->properties(frame);
    if (!properties) return properties.error();
    if (auto added = (*writer)->addImage(adjust(*image, frame), **properties); !added) {
      return std::move(added).error();
    }
  }
  if (auto finished = (*writer)->finish(); !finished) return std::move(finished).error();
  Bytes written(out.size());
  if (auto sought = out.seek(0); !sought) return std::move(sought).error();
  const auto got = out.read(written);
  if (!got) return got.error();
  EXPECT_EQ(*got, written.size());
  return written;
}

Bytes rewriteFrames(const Bytes& bytes, const AdjustFrame& adjust, const EncodeOptions& options) {
  auto written = tryRewriteFrames(bytes, adjust, options);
  if (!written) {
    ADD_FAILURE() << written.error().message;
    return {};
  }
  return *written;
}

CGImage inverted(const CGImage& image, std::size_t) {
  return adjusted(image, [](const CIImageRef& recipe) { return applyInvertForCIImage(recipe); });
}

CGImage equalized(const CGImage& image, std::size_t) {
  return adjusted(image, [](const CIImageRef& recipe) { return applyEqualizeForCIImage(recipe); });
}

CGImage renderedFrame(const CGImage& image, std::size_t) { return rendered(image); }

Bytes framePixels(const Bytes& bytes, std::size_t frame) {
  const auto source = openSource(bytes);
  if (source == nullptr || frame >= source->count()) {
    ADD_FAILURE() << "there is no frame " << frame;
    return {};
  }
  const auto image = source->image(frame);
  const auto read = image ? readAllPixels(*image) : Result<Bytes>(image.error());
  if (!read) {
    ADD_FAILURE() << read.error().message;
    return {};
  }
  return *read;
}

std::vector<Bytes> shownByOtherTool(const Bytes& bytes, std::string_view operation) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.png"), bytes);
  run("cd '" + folder.path("") + "' && apngdis in.png frame");
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
    const std::string name = entry.path().filename();
    if (name.starts_with("frame") && name.ends_with(".png")) names.push_back(entry.path());
  }
  std::ranges::sort(names);
  std::vector<Bytes> frames;
  for (const std::string& name : names) {
    run("convert '" + name + "' " + std::string(operation) +
        " -background none -alpha background -depth 8 'RGBA:" + folder.path("raw") + "'");
    frames.push_back(readFile(folder.path("raw")));
  }
  return frames;
}

}  // namespace kelvo::png_test
