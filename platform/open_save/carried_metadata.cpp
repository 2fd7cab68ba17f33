#include "platform/open_save/carried_metadata.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/jpeg/jpeg_structure.h"
#include "platform/image_io/little_endian.h"
#include "platform/image_io/png/png_file.h"
#include "platform/image_io/tiff/directory.h"
#include "platform/image_io/tiff/tags.h"
#include "platform/image_io/webp/webp_file.h"
#include "platform/open_save/exif_tree.h"

namespace kelvo {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kExifPrefix = "Exif\0\0"sv;

// Of a chunk that EXIF data stood in before there was one for them.
constexpr std::string_view kExifKeyword = "Raw profile type exif\0"sv;

using Block = std::vector<std::byte>;

Block copyOf(std::span<const std::byte> bytes) { return {bytes.begin(), bytes.end()}; }

std::string_view textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Result<Block> ofJpeg(const FileBytes& file) {
  for (const jpeg::Segment& segment :
       jpeg::readStructure(file->bytes(), jpeg::Extent::toFirstScan).segments) {
    if (jpeg::hasIdentifier(segment, 0xE1, kExifPrefix)) {
      return copyOf(segment.payload.subspan(kExifPrefix.size()));
    }
  }
  return Block();
}

// The numbers of sRGB, in 1/100000, as a file without a profile may give them. What is off by less
// than 0.1 percent of the whole range looks no different.
bool isLikeSrgb(const PngChunk& chunk) {
  constexpr std::array kGamma = {45455};
  constexpr std::array kChromaticities = {31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000};
  constexpr int kTolerance = 100;
  const std::span<const int> expected =
      chunk.name() == "gAMA" ? std::span<const int>(kGamma) : std::span<const int>(kChromaticities);
  if (chunk.data.size() != expected.size() * 4) return false;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto number = static_cast<std::int64_t>(readBigEndian32(chunk.data.subspan(i * 4, 4)));
    if (std::abs(number - expected[i]) > kTolerance) return false;
  }
  return true;
}

Result<Block> ofPng(const FileBytes& bytes) {
  const auto opened = PngFile::open(bytes, {});
  if (!opened) return opened.error();
  const PngFile& file = **opened;
  Block exif;
  bool exifAsText = false;
  bool colorsTold = false;
  for (const PngChunk& chunk : file.chunks()) {
    const std::string_view name = chunk.name();
    colorsTold = colorsTold || name == "iCCP" || name == "sRGB";
    if (name == "cICP") return Error{"its colours are told by code points (cICP)"};
    if (name == "eXIf") exif = copyOf(chunk.data);
    exifAsText = exifAsText || (name == "zTXt" && textOf(chunk.data).starts_with(kExifKeyword));
  }
  if (exif.empty() && exifAsText) return Error{"its EXIF data are in the form of text"};
  for (const std::string_view name : {"gAMA"sv, "cHRM"sv}) {
    const PngChunk* const chunk = file.find(name);
    if (chunk != nullptr && !colorsTold && !isLikeSrgb(*chunk)) {
      return Error{"its colours are told by gamma and chromaticities, without a profile"};
    }
  }
  return exif;
}

Result<Block> ofWebp(const FileBytes& bytes) {
  const auto file = WebpFile::open(bytes, {});
  if (!file) return file.error();
  if (!(*file)->frames().front().animationHeader.empty()) {
    return Error{"it is an animation, if of one picture"};
  }
  for (const WebpChunk& chunk : (*file)->chunks()) {
    if (chunk.name() != "EXIF") continue;
    const bool prefixed = textOf(chunk.data).starts_with(kExifPrefix);
    return copyOf(prefixed ? chunk.data.subspan(kExifPrefix.size()) : chunk.data);
  }
  return Block();
}

Result<Block> ofTiff(const FileBytes& file, const CGImage& image) {
  const auto format = tiff::readHeader(file->bytes());
  if (!format) return format.error();
  const tiff::View view = {file->bytes(), *format};
  const auto first = tiff::readDirectory(view, view.offset(format->firstOffsetPosition()));
  if (first.directory.find(tiff::kDngVersion) != nullptr) return Error{"it is a raw photograph"};
  const tiff::Entry* const samples = first.directory.find(tiff::kSamplesPerPixel);
  if (!image.palette && samples != nullptr &&
      tiff::integers(view, *samples) != std::vector<std::uint64_t>{image.layout.components}) {
    return Error{"it has channels besides its colours"};
  }
  const auto tree = readExifTree(file->bytes());
  if (!tree) return tree.error();
  return buildExifBlock(*tree);
}

// It has no EXIF data, but its picture may stand anywhere on a larger canvas.
Result<Block> ofGif(const FileBytes& file, const CGImage& image) {
  constexpr std::size_t kCanvas = 6;
  if (readLittleEndian16(file->bytes(), kCanvas) != image.width ||
      readLittleEndian16(file->bytes(), kCanvas + 2) != image.height) {
    return Error{"its picture does not fill its canvas"};
  }
  return Block();
}

Result<Block> exifOf(const Codec& format, const FileBytes& file, const CGImage& image) {
  if (format.type == kJpegCodec.type) return ofJpeg(file);
  if (format.type == kPngCodec.type) return ofPng(file);
  if (format.type == kTiffCodec.type) return ofTiff(file, image);
  if (format.type == kWebpCodec.type) return ofWebp(file);
  if (format.type == kGifCodec.type) return ofGif(file, image);
  if (format.type == kBmpCodec.type) return Block();
  return Error{std::string(format.displayName) + " files are not converted"};
}

}  // namespace

Result<CarriedMetadata> readCarriedMetadata(const Codec& format, const FileBytes& file,
                                            const CGImage& image) {
  auto exif = exifOf(format, file, image);
  if (!exif) return std::move(exif).error();
  return CarriedMetadata(*std::move(exif));
}

}  // namespace kelvo
