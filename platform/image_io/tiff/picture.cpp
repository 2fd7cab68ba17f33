#include "platform/image_io/tiff/picture.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// More samples than any picture has; keeps the products below 64 bits.
constexpr std::uint32_t kMaxSamples = 1024;
// Larger tiles would let products of sizes overflow; none that large has been seen.
constexpr std::uint32_t kMaxTileSide = 1U << 24;
constexpr std::uint32_t kNoPhotometric = 0xFFFF;

// Reads the numbers of one directory, remembering the first thing that is wrong with them.
class Numbers {
 public:
  Numbers(const View& view, const Directory& directory) : view_(view), directory_(directory) {
    for (const std::uint16_t tag :
         {kImageWidth,          kImageLength,    kBitsPerSample,   kCompression,  kPhotometric,
          kFillOrder,           kStripOffsets,   kSamplesPerPixel, kRowsPerStrip, kStripByteCounts,
          kPlanarConfiguration, kPredictor,      kColorMap,        kTileWidth,    kTileLength,
          kTileOffsets,         kTileByteCounts, kExtraSamples,    kSampleFormat, kJpegTables,
          kYCbCrSubSampling}) {
      const auto times = std::count_if(directory.entries.begin(), directory.entries.end(),
                                       [tag](const Entry& entry) { return entry.tag == tag; });
      if (times > 1) fail("tag " + std::to_string(tag) + " occurs more than once in a directory");
    }
  }

  [[nodiscard]] bool has(std::uint16_t tag) const { return directory_.find(tag) != nullptr; }

  std::uint32_t one(std::uint16_t tag, std::uint32_t fallback) {
    const auto values = all(tag);
    return values.empty() ? fallback : values.front();
  }

  // One value for all samples; many writers give it once although there are several samples.
  std::uint32_t same(std::uint16_t tag, std::uint32_t fallback) {
    const auto values = all(tag);
    if (values.empty()) return fallback;
    if (std::any_of(values.begin(), values.end(),
                    [&values](std::uint32_t value) { return value != values.front(); })) {
      fail("its samples have different sizes or formats");
    }
    return values.front();
  }

  std::vector<std::uint32_t> all(std::uint16_t tag) {
    const Entry* const entry = directory_.find(tag);
    if (entry == nullptr) return {};
    std::vector<std::uint32_t> numbers;
    if (entry->count <= kMaxSamples) {
      for (const std::uint64_t value : integers(view_, *entry)) {
        if (value > std::numeric_limits<std::uint32_t>::max()) break;
        numbers.push_back(static_cast<std::uint32_t>(value));
      }
    }
    if (numbers.empty() || numbers.size() != entry->count) {
      fail("the value of tag " + std::to_string(tag) + " makes no sense");
    }
    return numbers;
  }

  void fail(std::string message) {
    if (failure_) failure_ = Error{std::move(message)};
  }
  [[nodiscard]] const Result<void>& failure() const { return failure_; }

 private:
  const View& view_;
  const Directory& directory_;
  Result<void> failure_;
};

std::string compressionName(std::uint32_t compression) {
  switch (compression) {
    case kCcittRle:
    case kCcittFax3:
    case kCcittFax4:
      return "fax compression";
    case kOldJpeg:
      return "old-style JPEG compression";
    case kJpeg:
      return "JPEG compression";
    case kWebp:
      return "WebP compression";
    case 32809:
      return "ThunderScan compression";
    case 32766:
      return "NeXT compression";
    case 32908:
    case 32909:
      return "Pixar compression";
    case 34661:
      return "JBIG compression";
    case 34676:
    case 34677:
      return "LogLuv compression";
    case 33003:
    case 33004:
    case 33005:
    case 34712:
      return "JPEG 2000 compression";
    case 34887:
      return "LERC compression";
    case 34892:
      return "lossy DNG compression";
    case 50002:
      return "JPEG XL compression";
    default:
      return "compression " + std::to_string(compression);
  }
}

bool knownCompression(std::uint32_t compression) {
  constexpr std::array<std::uint32_t, 9> kKnown = {
      kNoCompression, kLzw, kJpeg, kAdobeDeflate, kPackBits, kDeflate, kLzma, kZstd, kWebp};
  return std::find(kKnown.begin(), kKnown.end(), compression) != kKnown.end();
}

}  // namespace

int Picture::alphaSample() const {
  for (std::size_t i = 0; i < extraSamples.size(); ++i) {
    if (extraSamples[i] == kAssociated || extraSamples[i] == kUnassociated) {
      return static_cast<int>(colorSamples() + i);
    }
  }
  return -1;
}

bool Picture::straightAlpha() const {
  const int alpha = alphaSample();
  return alpha >= 0 &&
         extraSamples[static_cast<std::size_t>(alpha) - colorSamples()] == kUnassociated;
}

std::uint64_t Picture::planeBytes(std::uint64_t pixels) const {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max() - 7;
  const std::uint64_t pixelBits = std::uint64_t{planeSamples()} * bits;
  if (pixels > kMost / pixelBits) return kMost / 8;
  return (pixels * pixelBits + 7) / 8;
}

std::uint32_t Picture::colorSamples() const {
  switch (photometric) {
    case kRgb:
    case kYCbCr:
      return 3;
    case kCieLab:
    case kIccLab:
    case kItuLab:
      return samples < 3 ? 1 : 3;
    case kSeparated:
      return samples - static_cast<std::uint32_t>(extraSamples.size());
    default:
      return 1;
  }
}

Result<Picture> readPicture(const View& view, const Directory& directory) {
  Numbers numbers(view, directory);
  Picture picture;
  picture.width = numbers.one(kImageWidth, 0);
  picture.height = numbers.one(kImageLength, 0);
  picture.samples = numbers.one(kSamplesPerPixel, 1);
  picture.bits = numbers.same(kBitsPerSample, 1);
  picture.sampleFormat = numbers.same(kSampleFormat, 1);
  picture.photometric = numbers.one(kPhotometric, kNoPhotometric);
  picture.compression = numbers.one(kCompression, kNoCompression);
  picture.predictor = numbers.one(kPredictor, 1);
  picture.fillOrder = numbers.one(kFillOrder, 1);
  picture.separate = numbers.one(kPlanarConfiguration, 1) == 2 && picture.samples > 1;
  picture.tiled = numbers.has(kTileWidth) || numbers.has(kTileOffsets);
  if (picture.tiled) {
    picture.strileWidth = numbers.one(kTileWidth, 0);
    picture.strileHeight = numbers.one(kTileLength, 0);
    if (numbers.has(kStripOffsets)) numbers.fail("it has both strips and tiles");
  } else {
    picture.strileWidth = picture.width;
    picture.strileHeight = std::min(numbers.one(kRowsPerStrip, picture.height), picture.height);
  }
  for (const std::uint32_t kind : numbers.all(kExtraSamples)) {
    picture.extraSamples.push_back(static_cast<std::uint16_t>(kind));
  }
  if (const auto subsampling = numbers.all(kYCbCrSubSampling); subsampling.size() == 2) {
    picture.subsamplingX = subsampling[0];
    picture.subsamplingY = subsampling[1];
  }
  if (!numbers.failure()) return numbers.failure().error();
  if (picture.width == 0 || picture.height == 0) return Error{"a directory has no picture size"};
  if (picture.samples == 0 || picture.samples > kMaxSamples || picture.bits == 0 ||
      picture.bits > 64) {
    return Error{"its samples make no sense"};
  }
  if (picture.strileWidth == 0 || picture.strileHeight == 0 ||
      (picture.tiled && std::max(picture.strileWidth, picture.strileHeight) > kMaxTileSide)) {
    return Error{picture.tiled ? "its tile size makes no sense" : "its strips hold no rows"};
  }
  const std::uint32_t colors = std::min(picture.colorSamples(), picture.samples);
  if (picture.photometric != kSeparated) picture.extraSamples.resize(picture.samples - colors);
  return picture;
}

Result<std::vector<Extent>> readStriles(const View& view, const Directory& directory,
                                        const Picture& picture) {
  const Entry* const offsets = directory.find(picture.tiled ? kTileOffsets : kStripOffsets);
  const Entry* const counts = directory.find(picture.tiled ? kTileByteCounts : kStripByteCounts);
  const std::string what = picture.tiled ? "tile" : "strip";
  if (offsets == nullptr || counts == nullptr) {
    return Error{"a directory lacks the " + what + " offsets or byte counts"};
  }
  const std::uint64_t needed = picture.striles();
  if (offsets->count != needed || counts->count != needed) {
    return Error{"a directory lists " + std::to_string(offsets->count) + " offsets and " +
                 std::to_string(counts->count) + " byte counts for " + std::to_string(needed) +
                 " " + what + "s"};
  }
  const auto positions = integers(view, *offsets);
  const auto lengths = integers(view, *counts);
  if (positions.size() != needed || lengths.size() != needed) {
    return Error{"the " + what + " offsets or byte counts are not whole numbers"};
  }
  std::vector<Extent> striles(positions.size());
  for (std::size_t i = 0; i < striles.size(); ++i) striles[i] = {positions[i], lengths[i]};
  return striles;
}

Result<void> checkDecodable(const Picture& picture) {
  if (!knownCompression(picture.compression)) {
    return Error{compressionName(picture.compression) + " is not supported"};
  }
  const std::string bits = std::to_string(picture.bits);
  if (picture.sampleFormat == 3) {
    return Error{bits + "-bit floating-point samples are not supported"};
  }
  // 4 is "undefined", which writers use for plain whole numbers.
  if (picture.sampleFormat != 1 && picture.sampleFormat != 4) {
    return Error{"signed or complex samples are not supported"};
  }
  if (picture.photometric == kPalette) {
    if (picture.samples != 1) return Error{"a palette with extra samples is not supported"};
    if (picture.bits != 1 && picture.bits != 2 && picture.bits != 4 && picture.bits != 8) {
      return Error{"a palette of " + bits + " bits is not supported"};
    }
  } else if (picture.bits != 8 && picture.bits != 16) {
    return Error{bits + "-bit samples are not supported"};
  }
  if (picture.samples < picture.colorSamples()) {
    return Error{"a pixel has fewer samples than its colours need"};
  }
  if (picture.predictor != 1 && picture.predictor != 2) {
    return Error{"predictor " + std::to_string(picture.predictor) + " is not supported"};
  }
  if (picture.fillOrder != 1 && picture.fillOrder != 2) {
    return Error{"fill order " + std::to_string(picture.fillOrder) + " is not supported"};
  }
  switch (picture.photometric) {
    case kYCbCr:
      if (picture.compression != kJpeg || picture.bits != 8 || picture.samples != 3 ||
          picture.separate) {
        return Error{"YCbCr pixels outside JPEG compression are not supported"};
      }
      break;
    case kMinIsWhite:
    case kMinIsBlack:
    case kRgb:
    case kPalette:
    case kSeparated:
    case kCieLab:
    case kIccLab:
    case kItuLab:
      break;
    case kNoPhotometric:
      return Error{"the photometric interpretation is missing"};
    default:
      return Error{"photometric interpretation " + std::to_string(picture.photometric) +
                   " is not supported"};
  }
  if ((picture.compression == kJpeg || picture.compression == kWebp) && picture.bits != 8) {
    return Error{compressionName(picture.compression) + " of " + bits +
                 "-bit samples is not supported"};
  }
  return {};
}

}  // namespace kelvo::tiff
