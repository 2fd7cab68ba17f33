#include "platform/image_io/png/png_deflate.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "platform/image_io/png/huffman_block.h"

namespace kelvo {
namespace {

constexpr std::array<char, 4> kDataType = {'I', 'D', 'A', 'T'};
constexpr std::array<char, 4> kFrameDataType = {'f', 'd', 'A', 'T'};
constexpr std::size_t kBandBytes = std::size_t{128} << 10;
constexpr std::size_t kChunkBytes = std::size_t{64} << 10;
constexpr std::size_t kSampleBytes = std::size_t{16} << 10;

// How hard a band is searched for strings that come again: not at all, or at a level of zlib.
enum class Effort : int { none = 0, quick = 2, thorough = 6 };

// Bytes that the sample takes if each byte is coded by itself.
double codedAlone(std::span<const std::uint8_t> sample) {
  std::array<std::uint32_t, 256> counts{};
  for (const std::uint8_t byte : sample) ++counts[byte];
  double bits = 0;
  const auto total = static_cast<double>(sample.size());
  for (const std::uint32_t n : counts) {
    if (n != 0) bits -= n * std::log2(n / total);
  }
  return bits / 8;
}

// Looks for the dearer efforts' worth in a part of the band. Photographs, after filtering, are
// noise in which nothing comes again: looking for matches takes ten times as long and gains
// nothing.
class EffortChooser {
 public:
  EffortChooser() : compressor_(libdeflate_alloc_compressor(1)), packed_(2 * kSampleBytes) {}
  ~EffortChooser() { libdeflate_free_compressor(compressor_); }
  EffortChooser(const EffortChooser&) = delete;
  EffortChooser& operator=(const EffortChooser&) = delete;

  Effort choose(std::span<const std::uint8_t> band) {
    if (compressor_ == nullptr) return Effort::quick;
    const std::size_t size = std::min(kSampleBytes, band.size());
    const auto sample = band.subspan((band.size() - size) / 2, size);
    const auto withMatches = static_cast<double>(libdeflate_deflate_compress(
        compressor_, sample.data(), sample.size(), packed_.data(), packed_.size()));
    const double alone = codedAlone(sample);
    if (withMatches == 0 || withMatches > 0.97 * alone) return Effort::none;
    return withMatches > 0.8 * alone ? Effort::quick : Effort::thorough;
  }

 private:
  libdeflate_compressor* compressor_;
  std::vector<std::uint8_t> packed_;
};

// A zlib stream (RFC 1950) joined of bands that each end at a whole byte.
class BandedDataWriter final : public PngDataWriter {
 public:
  BandedDataWriter(OutputFile& file, std::uint32_t* sequence) : file_(file), sequence_(sequence) {
    beginChunk();
    packed_.insert(packed_.end(), kStreamHeader.begin(), kStreamHeader.end());
    band_.reserve(kBandBytes);
    // Less than 0: blocks alone, without the stream's header and checksum.
    constexpr int kWindowBits = -15;
    open_ = deflateInit2(&stream_, static_cast<int>(Effort::quick), Z_DEFLATED, kWindowBits, 9,
                         Z_DEFAULT_STRATEGY) == Z_OK;
  }
  ~BandedDataWriter() override {
    if (open_) deflateEnd(&stream_);
  }
  BandedDataWriter(const BandedDataWriter&) = delete;
  BandedDataWriter& operator=(const BandedDataWriter&) = delete;

  Result<void> write(std::span<const std::uint8_t> bytes) override {
    while (!bytes.empty()) {
      const auto part = bytes.first(std::min(bytes.size(), kBandBytes - band_.size()));
      band_.insert(band_.end(), part.begin(), part.end());
      bytes = bytes.subspan(part.size());
      if (band_.size() < kBandBytes) continue;
      if (auto packed = packBand(); !packed) return packed;
    }
    return {};
  }

  Result<void> finish() override {
    if (auto packed = packBand(); !packed) return packed;
    packed_.insert(packed_.end(), kLastBlock.begin(), kLastBlock.end());
    for (const std::uint8_t byte : bigEndian(checksum_)) packed_.push_back(byte);
    return writeChunk();
  }

 private:
  // A window of 32 KiB, the fastest algorithm, no dictionary.
  static constexpr std::array<std::uint8_t, 2> kStreamHeader = {0x78, 0x01};
  // A stored block of no bytes.
  static constexpr std::array<std::uint8_t, 5> kLastBlock = {0x01, 0x00, 0x00, 0xff, 0xff};

  Result<void> packBand() {
    if (!open_) return Error{"there is not enough memory to encode the picture"};
    if (band_.empty()) return {};
    checksum_ = libdeflate_adler32(checksum_, band_.data(), band_.size());
    const Effort effort = chooser_.choose(band_);
    if (effort == Effort::none) {
      appendHuffmanBlock(band_, packed_);
    } else if (!search(effort)) {
      return Error{"the picture could not be compressed"};
    }
    before_ = effort;
    band_.clear();
    return packed_.size() < kChunkBytes ? Result<void>() : writeChunk();
  }

  bool search(Effort effort) {
    // Repeats may reach back into the band before if this stream has seen it.
    if (effort != before_ &&
        (deflateReset(&stream_) != Z_OK ||
         deflateParams(&stream_, static_cast<int>(effort), Z_DEFAULT_STRATEGY) != Z_OK)) {
      return false;
    }
    stream_.next_in = band_.data();
    stream_.avail_in = static_cast<uInt>(band_.size());
    do {
      const std::size_t size = packed_.size();
      packed_.resize(size + kChunkBytes);
      stream_.next_out = packed_.data() + size;
      stream_.avail_out = static_cast<uInt>(kChunkBytes);
      const int result = deflate(&stream_, Z_SYNC_FLUSH);
      packed_.resize(packed_.size() - stream_.avail_out);
      if (result != Z_OK && result != Z_BUF_ERROR) return false;
    } while (stream_.avail_out == 0);
    return stream_.avail_in == 0;
  }

  static std::array<std::uint8_t, 4> bigEndian(std::uint32_t value) {
    const auto at = [&](unsigned shift) { return static_cast<std::uint8_t>(value >> shift); };
    return {at(24), at(16), at(8), at(0)};
  }

  // Leaves room for the number of a chunk fdAT.
  void beginChunk() { packed_.assign(sequence_ == nullptr ? 0 : 4, 0); }

  Result<void> writeChunk() {
    if (sequence_ != nullptr) std::ranges::copy(bigEndian((*sequence_)++), packed_.begin());
    auto written = writePngChunk(file_, sequence_ == nullptr ? kDataType : kFrameDataType,
                                 std::as_bytes(std::span(packed_)));
    beginChunk();
    return written;
  }

  OutputFile& file_;
  std::uint32_t* sequence_;
  EffortChooser chooser_;
  Effort before_ = Effort::none;
  std::uint32_t checksum_ = 1;  // of an empty stream
  z_stream stream_{};
  bool open_ = false;
  std::vector<std::uint8_t> band_;
  std::vector<std::uint8_t> packed_;
};

}  // namespace

std::unique_ptr<PngDataWriter> PngDataWriter::create(OutputFile& file, std::uint32_t* sequence) {
  return std::make_unique<BandedDataWriter>(file, sequence);
}

Result<void> writePngChunk(OutputFile& file, std::span<const char, 4> type,
                           std::span<const std::byte> data) {
  const auto write32 = [&](std::uint32_t value) {
    const auto at = [&](unsigned shift) { return static_cast<std::byte>(value >> shift); };
    const std::array<std::byte, 4> bytes = {at(24), at(16), at(8), at(0)};
    return file.write(bytes);
  };
  if (auto written = write32(static_cast<std::uint32_t>(data.size())); !written) return written;
  if (auto written = file.write(std::as_bytes(type)); !written) return written;
  if (auto written = file.write(data); !written) return written;
  const std::uint32_t ofType = libdeflate_crc32(0, type.data(), type.size());
  return write32(libdeflate_crc32(ofType, data.data(), data.size()));
}

}  // namespace kelvo
