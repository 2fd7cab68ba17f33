#include "platform/image_io/png/png_file.h"

#include <fmt/format.h>
#include <libdeflate.h>

#include <algorithm>

#include "platform/image_io/mapped_file.h"
#include "platform/image_io/png/png_animation.h"

namespace kelvo {
namespace {

constexpr std::size_t kFrameBytes = 12;  // a chunk's length, type and checksum
constexpr std::uint32_t kMaxNumber = 0x7fffffff;
constexpr std::size_t kMaxChunks = 1'000'000;  // what is remembered of each takes more than it
constexpr std::size_t kHeaderBytes = 13;

bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

bool validDepth(unsigned color, unsigned depth) {
  switch (color) {
    case 0:
      return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
    case 3:
      return depth == 1 || depth == 2 || depth == 4 || depth == 8;
    case 2:
    case 4:
    case 6:
      return depth == 8 || depth == 16;
    default:
      return false;
  }
}

SourceStatus invalid(std::string cause) {
  return {CGImageSourceStatus::invalidData, std::move(cause)};
}

}  // namespace

std::uint32_t readBigEndian32(std::span<const std::byte> bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | std::to_integer<std::uint32_t>(bytes[i]);
  return value;
}

std::uint16_t readBigEndian16(std::span<const std::byte> bytes) {
  return static_cast<std::uint16_t>(std::to_integer<unsigned>(bytes[0]) << 8 |
                                    std::to_integer<unsigned>(bytes[1]));
}

unsigned PngHeader::channels() const {
  switch (color) {
    case PngColor::gray:
    case PngColor::indexed:
      return 1;
    case PngColor::grayAlpha:
      return 2;
    case PngColor::rgb:
      return 3;
    case PngColor::rgba:
      return 4;
  }
  return 0;
}

Result<std::shared_ptr<const PngFile>> PngFile::open(FileBytes file, const Limits& limits) {
  std::shared_ptr<PngFile> png(new PngFile);
  png->file_ = std::move(file);
  png->limits_ = limits;
  const auto bytes = png->file_->bytes();
  if (auto header = png->readHeader(bytes); !header) return std::move(header).error();
  png->readChunks(bytes);
  png->pictures_ = findPngPictures(png->header_, png->chunks_);
  if (png->pictures_.size() > limits.maxFrames) {
    return Error{fmt::format("the file has {} frames, over the limit of {} (--max-frames)",
                             png->pictures_.size(), limits.maxFrames)};
  }
  return std::shared_ptr<const PngFile>(std::move(png));
}

Result<void> PngFile::readHeader(std::span<const std::byte> bytes) {
  const std::size_t start = kPngSignature.size();
  if (bytes.size() < start + kFrameBytes + kHeaderBytes) {
    return Error{"the file ends inside its header"};
  }
  const auto chunk = bytes.subspan(start);
  constexpr std::array kName = {std::byte{'I'}, std::byte{'H'}, std::byte{'D'}, std::byte{'R'}};
  if (readBigEndian32(chunk) != kHeaderBytes ||
      !std::equal(kName.begin(), kName.end(), chunk.begin() + 4)) {
    return Error{"the file does not begin with a header chunk"};
  }
  const auto data = chunk.subspan(8, kHeaderBytes);
  header_.width = readBigEndian32(data);
  header_.height = readBigEndian32(data.subspan(4));
  const auto at = [&](std::size_t i) { return std::to_integer<unsigned>(data[i]); };
  if (header_.width == 0 || header_.height == 0 || header_.width > kMaxNumber ||
      header_.height > kMaxNumber) {
    return Error{
        fmt::format("a picture of {} x {} pixels makes no sense", header_.width, header_.height)};
  }
  if (!validDepth(at(9), at(8))) {
    return Error{fmt::format("colour type {} with {} bits a sample is not known", at(9), at(8))};
  }
  if (at(10) != 0 || at(11) != 0 || at(12) > 1) {
    return Error{fmt::format("compression {}, filter {} or interlace {} is not known", at(10),
                             at(11), at(12))};
  }
  header_.bitDepth = static_cast<std::uint8_t>(at(8));
  header_.color = static_cast<PngColor>(at(9));
  header_.interlaced = at(12) == 1;
  if (std::uint64_t{header_.width} * header_.height > limits_.maxPixels) {
    return Error{fmt::format("a picture of {} x {} pixels is over the limit of {} (--max-pixels)",
                             header_.width, header_.height, limits_.maxPixels)};
  }
  return {};
}

void PngFile::readChunks(std::span<const std::byte> bytes) {
  std::size_t position = kPngSignature.size();
  while (position < bytes.size()) {
    const auto rest = bytes.subspan(position);
    if (rest.size() < 8) break;
    PngChunk chunk;
    for (std::size_t i = 0; i < 4; ++i) chunk.type[i] = static_cast<char>(rest[4 + i]);
    const std::uint32_t length = readBigEndian32(rest);
    if (length > kMaxNumber || !std::all_of(chunk.type.begin(), chunk.type.end(), isLetter)) {
      walked_ = invalid(fmt::format("there is no chunk where one should be, at byte {}", position));
      return;
    }
    if (rest.size() - 8 < std::size_t{length} + 4) {
      walked_ = {CGImageSourceStatus::incomplete,
                 fmt::format("the file ends inside its chunk {}", chunk.name())};
      return;
    }
    chunk.data = rest.subspan(8, length);
    chunk.whole = rest.first(length + kFrameBytes);
    if (chunks_.size() >= kMaxChunks) {
      walked_ = invalid("it has more than a million chunks");
      return;
    }
    chunks_.push_back(chunk);
    position += chunk.whole.size();
    if (chunk.name() == "IEND") {
      trailer_ = bytes.subspan(position);
      return;
    }
  }
  walked_ = {CGImageSourceStatus::incomplete, "the file ends before its end chunk"};
}

const PngChunk* PngFile::find(std::string_view name) const {
  for (const PngChunk& chunk : chunks_) {
    if (chunk.name() == name) return &chunk;
    if (chunk.name() == "IDAT") break;
  }
  return nullptr;
}

Palette PngFile::palette() const {
  Palette palette;
  const PngChunk* const colors = find("PLTE");
  if (colors == nullptr) return palette;
  const PngChunk* const alphas = find("tRNS");
  for (std::size_t i = 0; i < colors->data.size() / 3; ++i) {
    const auto at = [&](std::size_t k) {
      return std::to_integer<std::uint8_t>(colors->data[3 * i + k]);
    };
    const bool hasAlpha = alphas != nullptr && i < alphas->data.size();
    palette.push_back(
        {at(0), at(1), at(2),
         hasAlpha ? std::to_integer<std::uint8_t>(alphas->data[i]) : std::uint8_t{255}});
  }
  return palette;
}

std::vector<std::uint16_t> PngFile::colorKey() const {
  const PngChunk* const chunk = find("tRNS");
  std::vector<std::uint16_t> key;
  if (chunk == nullptr || (header_.color != PngColor::rgb && header_.color != PngColor::gray)) {
    return key;
  }
  // Bits above the depth count for nothing.
  const unsigned mask = (1U << header_.bitDepth) - 1;
  for (std::size_t i = 0; i + 1 < chunk->data.size(); i += 2) {
    key.push_back(static_cast<std::uint16_t>(readBigEndian16(chunk->data.subspan(i)) & mask));
  }
  return key;
}

SourceStatus PngFile::status() const {
  for (const PngChunk& chunk : chunks_) {
    const auto covered = chunk.whole.subspan(4, chunk.data.size() + 4);
    if (libdeflate_crc32(0, covered.data(), covered.size()) !=
        readBigEndian32(chunk.whole.last(4))) {
      return invalid(fmt::format("the checksum of the chunk {} at byte {} is wrong", chunk.name(),
                                 chunk.whole.data() - file_->bytes().data()));
    }
  }
  if (walked_.status != CGImageSourceStatus::complete) return walked_;
  if (std::string cause = checkOrder(); !cause.empty()) return invalid(std::move(cause));
  return {};
}

std::string PngFile::checkOrder() const {
  const bool indexed = header_.color == PngColor::indexed;
  std::size_t paletteEntries = 0;
  bool dataSeen = false;
  bool dataEnded = false;
  bool transparencySeen = false;
  for (const PngChunk& chunk : chunks_) {
    const std::string_view name = chunk.name();
    if (name == "IDAT") {
      if (dataEnded) return "the chunks IDAT do not stand together";
      if (indexed && paletteEntries == 0) return "the chunk PLTE is missing";
      dataSeen = true;
      continue;
    }
    dataEnded = dataSeen;
    if (name == "IHDR") {
      if (&chunk != &chunks_.front()) return "the chunk IHDR occurs twice";
    } else if (name == "PLTE") {
      if (paletteEntries != 0) return "the chunk PLTE occurs twice";
      if (dataSeen || transparencySeen) return "the chunk PLTE comes too late";
      paletteEntries = chunk.data.size() / 3;
      if (chunk.data.size() % 3 != 0 || paletteEntries == 0 || paletteEntries > 256) {
        return fmt::format("a chunk PLTE of {} bytes makes no sense", chunk.data.size());
      }
    } else if (name == "tRNS") {
      if (transparencySeen) return "the chunk tRNS occurs twice";
      if (dataSeen) return "the chunk tRNS comes too late";
      transparencySeen = true;
      if (std::string cause = checkTransparency(paletteEntries); !cause.empty()) return cause;
    } else if (name == "IEND") {
      if (!chunk.data.empty()) return "the end chunk is not empty";
    } else if (chunk.critical()) {
      return fmt::format("the chunk {} is needed to read the picture and not known", name);
    }
  }
  return dataSeen ? checkPngAnimation(header_, chunks_) : "the chunk IDAT is missing";
}

std::string PngFile::checkTransparency(std::size_t paletteEntries) const {
  const std::size_t size = find("tRNS")->data.size();
  switch (header_.color) {
    case PngColor::indexed:
      if (paletteEntries == 0) return "the chunk tRNS comes before PLTE";
      if (size <= paletteEntries) return "";
      break;
    case PngColor::gray:
    case PngColor::rgb:
      if (size == header_.channels() * std::size_t{2}) return "";
      break;
    case PngColor::grayAlpha:
    case PngColor::rgba:
      return "the chunk tRNS does not go with an alpha channel";
  }
  return fmt::format("a chunk tRNS of {} bytes makes no sense", size);
}

}  // namespace kelvo
