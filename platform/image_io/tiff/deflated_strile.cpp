#include "platform/image_io/tiff/deflated_strile.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "platform/image_io/png/huffman_block.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

constexpr int kQuick = 1;  // levels of libdeflate
constexpr int kThorough = 6;
constexpr std::size_t kSampleBytes = std::size_t{8} << 10;
constexpr std::size_t kSamplePieceBytes = std::size_t{1} << 10;
// Codes are made anew for each piece of this size, as what is common changes down a picture.
constexpr std::size_t kBlockBytes = std::size_t{64} << 10;

// Bytes that the sample takes if each byte is coded by itself.
double codedAlone(std::span<const std::byte> sample) {
  std::array<std::uint32_t, 256> counts{};
  for (const std::byte byte : sample) ++counts[std::to_integer<std::size_t>(byte)];
  double bits = 0;
  const auto total = static_cast<double>(sample.size());
  for (const std::uint32_t n : counts) {
    if (n != 0) bits -= n * std::log2(n / total);
  }
  return bits / 8;
}

// A zlib stream (RFC 1950) in which every byte is coded by itself.
void deflateAlone(std::span<const std::byte> bytes, std::vector<std::byte>& strile) {
  std::vector<std::uint8_t> packed = {0x78, 0x01};  // a window of 32 KiB, the fastest algorithm
  packed.reserve(bytes.size());
  const std::span all(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  for (std::size_t at = 0; at < all.size(); at += kBlockBytes) {
    appendHuffmanBlock(all.subspan(at, std::min(kBlockBytes, all.size() - at)), packed);
  }
  constexpr std::array<std::uint8_t, 5> kLastBlock = {0x01, 0x00, 0x00, 0xff, 0xff};  // of no bytes
  packed.insert(packed.end(), kLastBlock.begin(), kLastBlock.end());
  const std::uint32_t checksum = libdeflate_adler32(1, bytes.data(), bytes.size());
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    packed.push_back(static_cast<std::uint8_t>(checksum >> shift));
  }
  const auto* const first = reinterpret_cast<const std::byte*>(packed.data());
  strile.assign(first, first + packed.size());
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

void Inflater::Closer::operator()(libdeflate_decompressor* decompressor) const {
  libdeflate_free_decompressor(decompressor);
}

Inflater::Inflater() : decompressor_(libdeflate_alloc_decompressor()) {}

bool Inflater::inflate(std::span<const std::byte> strile, std::span<std::byte> bytes) const {
  return decompressor_ &&
         libdeflate_zlib_decompress(decompressor_.get(), strile.data(), strile.size(), bytes.data(),
                                    bytes.size(), nullptr) == LIBDEFLATE_SUCCESS;
}

void Deflater::Closer::operator()(libdeflate_compressor* compressor) const {
  libdeflate_free_compressor(compressor);
}

bool Deflater::deflateAt(Compressor& compressor, int level, std::span<const std::byte> bytes,
                         std::vector<std::byte>& strile) const {
  if (!compressor) compressor.reset(libdeflate_alloc_compressor(level));
  if (!compressor) return false;
  strile.resize(libdeflate_zlib_compress_bound(compressor.get(), bytes.size()));
  strile.resize(libdeflate_zlib_compress(compressor.get(), bytes.data(), bytes.size(),
                                         strile.data(), strile.size()));
  return !strile.empty();
}

// Pieces of some rows from the middle, one below the other, so that repeats in either direction
// show.
void Deflater::takeSample(std::span<const std::byte> bytes) {
  sample_.clear();
  const std::size_t rows = bytes.size() / rowBytes_;
  const std::size_t piece = std::min(rowBytes_, kSamplePieceBytes);
  const std::size_t taken = std::min(rows, kSampleBytes / piece);
  std::size_t at = (rows - taken) / 2 * rowBytes_ + (rowBytes_ - piece) / 2;
  for (std::size_t i = 0; i < taken; ++i, at += rowBytes_) {
    const auto part = bytes.subspan(at, piece);
    sample_.insert(sample_.end(), part.begin(), part.end());
  }
}

// Photographs, after prediction, are noise in which nothing comes again: to look for repeats takes
// several times as long and gains nothing. A part of the bytes tells whether they are like that.
Result<void> Deflater::deflate(std::span<const std::byte> bytes, std::vector<std::byte>& strile) {
  takeSample(bytes);
  if (!deflateAt(quick_, kQuick, sample_, packedSample_)) {
    return Error{"no memory to compress a strip"};
  }
  const double alone = codedAlone(sample_);
  constexpr double kNothingGained = 0.99;
  constexpr double kLittleGained = 0.9;
  const auto repeated = static_cast<double>(packedSample_.size());
  if (repeated > kNothingGained * alone) {
    deflateAlone(bytes, strile);
    return {};
  }
  const bool quick = repeated > kLittleGained * alone;
  if (quick ? deflateAt(quick_, kQuick, bytes, strile)
            : deflateAt(thorough_, kThorough, bytes, strile)) {
    return {};
  }
  return Error{"no memory to compress a strip"};
}

}  // namespace kelvo::tiff
