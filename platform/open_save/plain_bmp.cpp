#include <array>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

#include "platform/image_io/little_endian.h"
#include "platform/image_io/output_file.h"
#include "platform/open_save/exif_tree.h"
#include "platform/open_save/plain_rows.h"
#include "platform/open_save/plain_writer.h"

namespace kelvo {
namespace {

constexpr std::uint32_t kFileHeaderBytes = 14;
constexpr std::uint32_t kInfoHeaderBytes = 124;  // the fifth version, the first with profiles
constexpr std::uint32_t kGrays = 256;
constexpr std::uint32_t kEmbeddedProfile = 0x4D424544;  // "MBED", as a number
constexpr std::uint32_t kSrgb = 0x73524742;
constexpr std::uint32_t kPixelsPerMeter = 2835;  // 72 to the inch
constexpr std::uint32_t kImages = 4;             // the intent for photographs

// Three bytes b, g, r a pixel or an index into 256 grays; rows from the bottom up, each of whole
// four bytes; then the profile.
class BmpWriter final : public PlainWriter {
 public:
  explicit BmpWriter(OutputFile& file) : file_(&file) {}

 private:
  Result<void> write(const CGImage& image, const CarriedMetadata& metadata) override {
    if (auto upright = checkOrientation(metadata); !upright) return upright;
    const bool gray = image.colorSpace->model == ColorModel::gray;
    const PixelLayout stored = {gray ? std::uint8_t{1} : std::uint8_t{3}, SampleType::u8,
                                AlphaInfo::none};
    const auto& profile = image.colorSpace->profile;
    const std::uint32_t table = gray ? kGrays * 4 : 0;
    const std::uint32_t begin = kFileHeaderBytes + kInfoHeaderBytes + table;
    const std::uint64_t rowBytes = (std::uint64_t{image.width} * stored.components + 3) / 4 * 4;
    const std::uint64_t end = begin + rowBytes * image.height;
    if (end + profile.size() > std::numeric_limits<std::uint32_t>::max() ||
        image.width > kMostSide || image.height > kMostSide) {
      return Error{"it does not fit into a BMP file"};
    }
    std::vector<std::byte> head;
    const auto put = [&](std::uint32_t value, std::size_t bytes) {
      head.resize(head.size() + bytes);
      writeLittleEndian(std::span(head).last(bytes), value);
    };
    put('B' | 'M' << 8, 2);
    put(static_cast<std::uint32_t>(end + profile.size()), 4);
    put(0, 4);
    put(begin, 4);
    put(kInfoHeaderBytes, 4);
    put(image.width, 4);
    put(image.height, 4);
    put(1, 2);  // plane
    put(gray ? 8 : 24, 2);
    put(0, 4);  // not compressed
    put(static_cast<std::uint32_t>(end - begin), 4);
    put(kPixelsPerMeter, 4);
    put(kPixelsPerMeter, 4);
    put(gray ? kGrays : 0, 4);
    put(0, 4);                      // all of them matter
    head.resize(head.size() + 16);  // masks
    put(profile.empty() ? kSrgb : kEmbeddedProfile, 4);
    head.resize(head.size() + 48);  // end points and gamma
    put(kImages, 4);
    put(profile.empty() ? 0 : static_cast<std::uint32_t>(end - kFileHeaderBytes), 4);
    put(static_cast<std::uint32_t>(profile.size()), 4);
    put(0, 4);
    for (std::uint32_t level = 0; level < table / 4; ++level) put(level * 0x010101U, 4);
    if (auto written = file_->write(head); !written) return written;
    if (auto written = writePixels(image, stored, begin, rowBytes); !written) return written;
    if (auto sought = file_->seek(end); !sought) return sought;
    return file_->write(profile);
  }

  static Result<void> checkOrientation(const CarriedMetadata& metadata) {
    if (metadata.exif().empty()) return {};
    const auto tree = readExifTree(metadata.exif());
    if (!tree) return tree.error();
    if (orientationOf(*tree) == 1) return {};
    return Error{"it is to be shown turned or mirrored, which a BMP file cannot tell"};
  }

  Result<void> writePixels(const CGImage& image, const PixelLayout& stored, std::uint64_t begin,
                           std::uint64_t rowBytes) {
    auto rows = PlainRows::open(image, stored, "BMP");
    if (!rows) return std::move(rows).error();
    std::vector<std::byte> flipped;
    std::uint32_t left = image.height;
    return forEachStrip(*rows, image.height, stripRows(rowBytes, image.height),
                        [&](std::span<std::byte> pixels, std::uint32_t count) -> Result<void> {
                          flipped.assign(rowBytes * count, std::byte{0});
                          const std::size_t from = std::size_t{image.width} * stored.components;
                          for (std::uint32_t row = 0; row < count; ++row) {
                            const auto to =
                                std::span(flipped).subspan((count - 1 - row) * rowBytes, from);
                            std::ranges::copy(pixels.subspan(row * from, from), to.begin());
                            if (stored.components == 3) {
                              for (std::size_t at = 0; at < from; at += 3)
                                std::swap(to[at], to[at + 2]);
                            }
                          }
                          left -= count;
                          if (auto sought = file_->seek(begin + rowBytes * left); !sought)
                            return sought;
                          return file_->write(flipped);
                        });
  }

  static constexpr std::uint32_t kMostSide = std::numeric_limits<std::int32_t>::max();

  OutputFile* file_;
};

}  // namespace

std::unique_ptr<CodecWriter> makePlainBmpWriter(OutputFile& file) {
  return std::make_unique<BmpWriter>(file);
}

}  // namespace kelvo
