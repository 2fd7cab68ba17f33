#include <array>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "platform/image_io/output_file.h"
#include "platform/image_io/tiff/directory.h"
#include "platform/image_io/tiff/picture.h"
#include "platform/image_io/tiff/strile_encoder.h"
#include "platform/image_io/tiff/tags.h"
#include "platform/open_save/exif_tree.h"
#include "platform/open_save/plain_rows.h"
#include "platform/open_save/plain_writer.h"

namespace kelvo {
namespace {

constexpr std::uint64_t kHeaderBytes = 8;

// A classic file: header, strips, then the directories.
class TiffWriter final : public PlainWriter {
 public:
  explicit TiffWriter(OutputFile& file) : file_(&file) {}

 private:
  Result<void> write(const CGImage& image, const CarriedMetadata& metadata) override {
    if (!metadata.exif().empty()) {
      auto tree = readExifTree(metadata.exif());
      if (!tree) return std::move(tree).error();
      tree_ = *std::move(tree);
    }
    const std::array<std::byte, kHeaderBytes> room = {};
    if (auto written = file_->write(room); !written) return written;
    describe(image);
    if (auto written = writeStrips(image); !written) return written;
    return writeDirectories(image);
  }

  void describe(const CGImage& image) {
    picture_.width = image.width;
    picture_.height = image.height;
    picture_.bits = static_cast<std::uint32_t>(image.layout.sampleBytes() * 8);
    picture_.samples = image.layout.components;
    picture_.photometric =
        image.colorSpace->model == ColorModel::gray ? tiff::kMinIsBlack : tiff::kRgb;
    picture_.compression = tiff::kLzw;
    picture_.predictor = 2;
    picture_.strileWidth = image.width;
    picture_.strileHeight = stripRows(image.width * image.layout.pixelBytes(), image.height);
    if (image.layout.alpha != AlphaInfo::none) {
      picture_.extraSamples = {image.layout.alpha == AlphaInfo::last ? tiff::kUnassociated
                                                                     : tiff::kAssociated};
    }
  }

  Result<void> writeStrips(const CGImage& image) {
    auto rows = PlainRows::open(image, image.layout, "TIFF");
    if (!rows) return std::move(rows).error();
    const auto encoder = tiff::makePackedStrileEncoder({.bigEndian = tree_.bigEndian}, picture_);
    if (!encoder) return Error{"a TIFF file cannot hold such samples"};
    return forEachStrip(
        *rows, image.height, picture_.strileHeight,
        [&](std::span<std::byte> samples, std::uint32_t count) -> Result<void> {
          auto encoded =
              encoder->encode(static_cast<std::uint32_t>(offsets_.size()), count, samples);
          if (!encoded) return std::move(encoded).error();
          offsets_.push_back(file_->position());
          lengths_.push_back(encoded->size());
          if (file_->position() + encoded->size() > std::numeric_limits<std::uint32_t>::max()) {
            return tooLarge();
          }
          return file_->write(*encoded);
        });
  }

  static Error tooLarge() { return Error{"it does not fit into the 4 GiB of a TIFF file"}; }

  void add(std::uint16_t tag, std::uint16_t type, const std::vector<std::uint64_t>& values) {
    tree_.image.push_back(exifField(tree_, tag, type, values));
  }

  Result<void> writeDirectories(const CGImage& image) {
    using namespace tiff;
    add(kImageWidth, kLong, {image.width});
    add(kImageLength, kLong, {image.height});
    add(kBitsPerSample, kShort, std::vector<std::uint64_t>(picture_.samples, picture_.bits));
    add(kCompression, kShort, {picture_.compression});
    add(kPhotometric, kShort, {picture_.photometric});
    add(kStripOffsets, kLong, offsets_);
    add(kSamplesPerPixel, kShort, {picture_.samples});
    add(kRowsPerStrip, kLong, {picture_.strileHeight});
    add(kStripByteCounts, kLong, lengths_);
    add(kPlanarConfiguration, kShort, {1});
    add(kPredictor, kShort, {picture_.predictor});
    for (const std::uint16_t kind : picture_.extraSamples) add(kExtraSamples, kShort, {kind});
    if (const auto& profile = image.colorSpace->profile; !profile.empty()) {
      tree_.image.push_back({kIccProfile, kUndefined, profile.size(), profile});
    }
    if (file_->position() % 2 != 0) {
      const std::array<std::byte, 1> padding = {};
      if (auto written = file_->write(padding); !written) return written;
    }
    const LaidOutTree laid = layOut(tree_, file_->position());
    if (laid.bytes.empty()) return tooLarge();
    if (auto written = file_->write(laid.bytes); !written) return written;
    return writeHeader(laid.imageDirectory);
  }

  Result<void> writeHeader(std::uint64_t directory) {
    std::array<std::byte, kHeaderBytes> header = {};
    header[0] = header[1] = static_cast<std::byte>(tree_.bigEndian ? 'M' : 'I');
    tiff::storeInteger(std::span(header).subspan(2), 42, 2, tree_.bigEndian);
    tiff::storeInteger(std::span(header).subspan(4), directory, 4, tree_.bigEndian);
    if (auto sought = file_->seek(0); !sought) return sought;
    return file_->write(header);
  }

  OutputFile* file_;
  ExifTree tree_;  // gets the fields of the pixels as well
  tiff::Picture picture_;
  std::vector<std::uint64_t> offsets_;
  std::vector<std::uint64_t> lengths_;
};

}  // namespace

std::unique_ptr<CodecWriter> makePlainTiffWriter(OutputFile& file) {
  return std::make_unique<TiffWriter>(file);
}

}  // namespace kelvo
