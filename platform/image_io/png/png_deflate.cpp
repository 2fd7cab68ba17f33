#include "platform/image_io/png/png_deflate.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace kelvo {
namespace {

constexpr std::array<char, 4> kDataType = {'I', 'D', 'A', 'T'};
constexpr std::size_t kBandBytes = std::size_t{256} << 10;
constexpr std::size_t kChunkBytes = std::size_t{64} << 10;
constexpr std::size_t kSampleBytes = std::size_t{16} << 10;

struct Effort {
  int level = 0;
  int strategy = 0;
  friend bool operator==(const Effort&, const Effort&) = default;
};
constexpr Effort kRunsOnly = {1, Z_RLE};                  // nothing but runs repeats
constexpr Effort kSomeMatches = {2, Z_DEFAULT_STRATEGY};  // some strings come again
constexpr Effort kManyMatches = {6, Z_DEFAULT_STRATEGY};

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
    if (compressor_ == nullptr) return kSomeMatches;
    const std::size_t size = std::min(kSampleBytes, band.size());
    const auto sample = band.subspan((band.size() - size) / 2, size);
    const auto withMatches = static_cast<double>(libdeflate_deflate_compress(
        compressor_, sample.data(), sample.size(), packed_.data(), packed_.size()));
    const double alone = codedAlone(sample);
    if (withMatches == 0 || withMatches > 0.97 * alone) return kRunsOnly;
    return withMatches > 0.8 * alone ? kSomeMatches : kManyMatches;
  }

 private:
  libdeflate_compressor* compressor_;
  std::vector<std::uint8_t> packed_;
};

class ZlibDataWriter final : public PngDataWriter {
 public:
  explicit ZlibDataWriter(OutputFile& file) : file_(file), packed_(kChunkBytes) {
    band_.reserve(kBandBytes);
    open_ = deflateInit2(&stream_, effort_.level, Z_DEFLATED, 15, 9, effort_.strategy) == Z_OK;
    stream_.next_out = packed_.data();
    stream_.avail_out = static_cast<uInt>(packed_.size());
  }
  ~ZlibDataWriter() override {
    if (open_) deflateEnd(&stream_);
  }
  ZlibDataWriter(const ZlibDataWriter&) = delete;
  ZlibDataWriter& operator=(const ZlibDataWriter&) = delete;

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
    if (auto packed = pack(Z_FINISH); !packed) return packed;
    return writeChunk();
  }

 private:
  Result<void> packBand() {
    if (!open_) return Error{"there is not enough memory to encode the picture"};
    if (const Effort effort = chooser_.choose(band_); effort != effort_) {
      if (auto packed = pack(Z_BLOCK); !packed) return packed;
      if (deflateParams(&stream_, effort.level, effort.strategy) != Z_OK) return failed();
      effort_ = effort;
    }
    stream_.next_in = band_.data();
    stream_.avail_in = static_cast<uInt>(band_.size());
    auto packed = pack(Z_NO_FLUSH);
    band_.clear();
    return packed;
  }

  Result<void> pack(int flush) {
    while (true) {
      const int result = deflate(&stream_, flush);
      if (result == Z_STREAM_END) return {};
      if (result != Z_OK && result != Z_BUF_ERROR) return failed();
      if (stream_.avail_out != 0) return {};
      if (auto written = writeChunk(); !written) return written;
    }
  }

  Result<void> writeChunk() {
    const std::size_t size = packed_.size() - stream_.avail_out;
    stream_.next_out = packed_.data();
    stream_.avail_out = static_cast<uInt>(packed_.size());
    if (size == 0) return {};
    return writePngChunk(file_, kDataType, std::as_bytes(std::span(packed_).first(size)));
  }

  static Error failed() { return Error{"the picture could not be compressed"}; }

  OutputFile& file_;
  EffortChooser chooser_;
  Effort effort_ = kRunsOnly;
  z_stream stream_{};
  bool open_ = false;
  std::vector<std::uint8_t> band_;
  std::vector<std::uint8_t> packed_;
};

}  // namespace

std::unique_ptr<PngDataWriter> PngDataWriter::create(OutputFile& file) {
  return std::make_unique<ZlibDataWriter>(file);
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
