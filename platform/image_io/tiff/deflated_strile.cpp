#include "platform/image_io/tiff/deflated_strile.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <memory>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

struct DecompressorCloser {
  void operator()(libdeflate_decompressor* decompressor) const {
    libdeflate_free_decompressor(decompressor);
  }
};

void swapWords(std::span<std::byte> samples) {
  for (std::size_t i = 0; i + 1 < samples.size(); i += 2) std::swap(samples[i], samples[i + 1]);
}

// Each sample is stored as its difference from that of the pixel to the left.
void addUp8(std::span<std::byte> row, std::size_t samples) {
  for (std::size_t i = samples; i < row.size(); ++i) {
    row[i] = static_cast<std::byte>(std::to_integer<unsigned>(row[i]) +
                                    std::to_integer<unsigned>(row[i - samples]));
  }
}

void addUp16(std::span<std::byte> row, std::size_t samples) {
  // Rows come from allocated memory and have an even length.
  auto* const words = reinterpret_cast<std::uint16_t*>(row.data());
  for (std::size_t i = samples; i < row.size() / 2; ++i) {
    words[i] = static_cast<std::uint16_t>(words[i] + words[i - samples]);
  }
}

}  // namespace

bool isDeflated(const Picture& picture) {
  return picture.compression == kAdobeDeflate || picture.compression == kDeflate;
}

Result<void> checkDeflated(std::span<const std::byte> strile) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return Error{"no memory to check a strip"};
  std::array<Bytef, std::size_t{64} << 10> out{};
  int state = Z_OK;
  while (state == Z_OK) {
    if (stream.avail_in == 0) {
      constexpr std::size_t kMost = 1U << 30;
      const std::size_t length = std::min(strile.size(), kMost);
      if (length == 0) break;
      // zlib only reads it.
      stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(strile.data()));
      stream.avail_in = static_cast<uInt>(length);
      strile = strile.subspan(length);
    }
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    state = inflate(&stream, Z_NO_FLUSH);
  }
  inflateEnd(&stream);
  if (state == Z_STREAM_END) return {};
  return Error{"a strip or tile is damaged: its deflate stream or checksum is wrong"};
}

bool inflateStrile(std::span<const std::byte> strile, const Format& format, const Picture& picture,
                   std::span<std::byte> samples) {
  const bool words = picture.bits == 16;
  if (picture.predictor != 1 && picture.bits != 8 && !words) return false;
  const std::unique_ptr<libdeflate_decompressor, DecompressorCloser> decompressor(
      libdeflate_alloc_decompressor());
  if (!decompressor ||
      libdeflate_zlib_decompress(decompressor.get(), strile.data(), strile.size(), samples.data(),
                                 samples.size(), nullptr) != LIBDEFLATE_SUCCESS) {
    return false;
  }
  constexpr bool kBigEndianMachine = std::endian::native == std::endian::big;
  if (words && format.bigEndian != kBigEndianMachine) swapWords(samples);
  if (picture.predictor == 1) return true;
  const auto rowBytes = static_cast<std::size_t>(picture.planeBytes(picture.strileWidth));
  for (; !samples.empty(); samples = samples.subspan(rowBytes)) {
    if (words) {
      addUp16(samples.first(rowBytes), picture.planeSamples());
    } else {
      addUp8(samples.first(rowBytes), picture.planeSamples());
    }
  }
  return true;
}

}  // namespace kelvo::tiff
