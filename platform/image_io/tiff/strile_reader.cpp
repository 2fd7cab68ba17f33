#include "platform/image_io/tiff/strile_reader.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// Of the memory, for the strips or tiles that are decoded ahead or not yet written.
constexpr std::uint64_t kAheadBytes = 64ULL << 20;
constexpr std::uint64_t kAheadShare = 8;
// Striles for each thread: one that is worked on, and one that waits for it.
constexpr std::uint64_t kPerThread = 2;

}  // namespace

std::size_t strilesAtOnce(const JobPool& pool, std::uint64_t strileBytes, const Limits& limits) {
  if (pool.threads() == 1) return 1;
  const std::uint64_t most = std::min(kAheadBytes, limits.maxMemoryBytes / kAheadShare);
  const std::uint64_t wanted = kPerThread * pool.threads();
  return static_cast<std::size_t>(
      std::clamp(most / std::max<std::uint64_t>(1, strileBytes), std::uint64_t{1}, wanted));
}

Result<StoredStriles> StoredStriles::of(std::shared_ptr<const TiffFile> file, std::size_t frame) {
  const auto& picture = file->picture(frame);
  if (!picture) return picture.error();
  auto striles = file->striles(frame);
  if (!striles) return std::move(striles).error();
  for (const Extent& strile : *striles) {
    if (strile.length == 0 || !file->view().holds(strile.offset, strile.length)) {
      return Error{"a strip or tile lies outside the file"};
    }
  }
  std::span<const std::byte> tables;
  if (const Entry* const entry = file->frames()[frame].find(kJpegTables)) {
    tables = valueBytes(file->view(), *entry);
  }
  return StoredStriles{std::move(file), *picture, *std::move(striles), tables};
}

std::span<const std::byte> StoredStriles::bytes(std::uint32_t index) const {
  return file->view().bytes.subspan(static_cast<std::size_t>(striles[index].offset),
                                    static_cast<std::size_t>(striles[index].length));
}

std::size_t StoredStriles::sampleBytes(std::uint32_t index) const {
  const std::uint32_t row = index / picture.across() % picture.down();
  return static_cast<std::size_t>(picture.planeBytes(picture.strileWidth) *
                                  picture.rowsAt(row * picture.strileHeight));
}

bool StoredStriles::areSamples() const {
  const bool sameOrder = picture.bits <= 8 ||
                         file->view().format.bigEndian == (std::endian::native == std::endian::big);
  return picture.compression == kNoCompression && picture.fillOrder == 1 && sameOrder;
}

Result<std::unique_ptr<DecodingHandle>> StoredStriles::openHandle() const {
  return DecodingHandle::open(file->view(), picture, striles, jpegTables,
                              file->limits().maxMemoryBytes);
}

std::span<const std::byte> inReadingOrder(const StoredStriles& stored, std::uint32_t index,
                                          std::vector<std::byte>& turned) {
  const auto bytes = stored.bytes(index);
  if (stored.picture.fillOrder == 1) return bytes;
  turned.assign(bytes.begin(), bytes.end());
  TIFFReverseBits(reinterpret_cast<std::uint8_t*>(turned.data()),
                  static_cast<tmsize_t>(turned.size()));
  return turned;
}

Result<void> StrileDecoder::decode(std::uint32_t index, std::span<std::byte> samples) {
  if (isPackedHere(stored_.picture)) {
    const auto bytes = inReadingOrder(stored_, index, turned_);
    if (unpacker_.unpack(bytes, stored_.file->view().format, stored_.picture, samples)) return {};
    if (isDeflated(stored_.picture)) {
      if (auto checked = checkDeflated(bytes); !checked) return checked;
    }
  }
  if (!handle_) {
    auto handle = stored_.openHandle();
    if (!handle) return std::move(handle).error();
    handle_ = *std::move(handle);
  }
  return handle_->readStrile(index, samples);
}

StrileReader::StrileReader(StoredStriles stored) : stored_(std::move(stored)) {
  JobPool& pool = stored_.file->jobs();
  const std::size_t count =
      stored_.areSamples() ? 0
                           : strilesAtOnce(pool, stored_.sampleBytes(0), stored_.file->limits());
  for (std::size_t i = 0; i < count; ++i) slots_.emplace_back(stored_, pool);
}

std::uint32_t StrileReader::indexOf(std::uint64_t place) const {
  const Picture& picture = stored_.picture;
  const std::uint64_t column = place % picture.across();
  const std::uint64_t plane = place / picture.across() % picture.planes();
  const std::uint64_t band = place / picture.across() / picture.planes();
  return static_cast<std::uint32_t>((plane * picture.down() + band) * picture.across() + column);
}

void StrileReader::start(std::uint64_t place) {
  Slot& slot = slots_[place % slots_.size()];
  const std::uint32_t index = indexOf(place);
  slot.job.start([this, &slot, index] {
    slot.samples.resize(stored_.sampleBytes(index));
    slot.outcome = slot.decoder.decode(index, slot.samples);
  });
}

Result<std::span<const std::byte>> StrileReader::next() {
  if (read_ == stored_.striles.size()) return Error{"rows past the end of the picture"};
  const std::uint64_t place = read_++;
  if (slots_.empty()) {
    const std::uint32_t index = indexOf(place);
    const auto bytes = stored_.bytes(index);
    const std::size_t needed = stored_.sampleBytes(index);
    if (bytes.size() < needed) return Error{"a strip or tile is too short for its pixels"};
    return bytes.first(needed);
  }
  // The one read last is not needed any more.
  while (started_ < place + slots_.size() && started_ < stored_.striles.size()) start(started_++);
  Slot& slot = slots_[place % slots_.size()];
  slot.job.wait();
  if (!slot.outcome) return slot.outcome.error();
  return std::span<const std::byte>(slot.samples);
}

}  // namespace kelvo::tiff
