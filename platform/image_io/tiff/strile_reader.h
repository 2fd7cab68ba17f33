#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

#include "platform/image_io/tiff/job_pool.h"
#include "platform/image_io/tiff/libtiff_handle.h"
#include "platform/image_io/tiff/packed_strile.h"
#include "platform/image_io/tiff/tiff_file.h"

namespace kelvo::tiff {

// A frame's strips or tiles as they are stored.
struct StoredStriles {
  std::shared_ptr<const TiffFile> file;
  Picture picture;
  std::vector<Extent> striles;
  std::span<const std::byte> jpegTables;

  // Errors: a strip or tile outside the file.
  static Result<StoredStriles> of(std::shared_ptr<const TiffFile> file, std::size_t frame);

  [[nodiscard]] std::span<const std::byte> bytes(std::uint32_t index) const;
  // Bytes of the strile's samples.
  [[nodiscard]] std::size_t sampleBytes(std::uint32_t index) const;
  // Whether they are stored as the samples that the machine works with.
  [[nodiscard]] bool areSamples() const;
  [[nodiscard]] Result<std::unique_ptr<DecodingHandle>> openHandle() const;
};

// Decodes single strips or tiles.
class StrileDecoder {
 public:
  explicit StrileDecoder(const StoredStriles& stored) : stored_(stored) {}
  // `samples`, of the strile's exact size, are in the machine's byte order.
  Result<void> decode(std::uint32_t index, std::span<std::byte> samples);

 private:
  const StoredStriles& stored_;
  StrileUnpacker unpacker_;
  std::unique_ptr<DecodingHandle> handle_;  // opened when it is needed
  std::vector<std::byte> turned_;           // a strile with its bits the other way round
};

// All bits of a strile, most significant first. `turned` holds them where they had to be turned.
std::span<const std::byte> inReadingOrder(const StoredStriles& stored, std::uint32_t index,
                                          std::vector<std::byte>& turned);

// Decodes the strips or tiles band after band (the rows of one row of them), in a band plane after
// plane, from left to right; a few of them ahead where there are threads to do it.
class StrileReader {
 public:
  explicit StrileReader(StoredStriles stored);
  StrileReader(const StrileReader&) = delete;
  StrileReader& operator=(const StrileReader&) = delete;

  // The next one's samples, valid until the next call.
  Result<std::span<const std::byte>> next();

 private:
  struct Slot {
    explicit Slot(const StoredStriles& stored, JobPool& pool) : decoder(stored), job(pool) {}
    StrileDecoder decoder;
    std::vector<std::byte> samples;
    Result<void> outcome;
    Job job;  // last: its end waits for what uses the others
  };

  [[nodiscard]] std::uint32_t indexOf(std::uint64_t place) const;
  void start(std::uint64_t place);

  StoredStriles stored_;
  std::uint64_t started_ = 0;
  std::uint64_t read_ = 0;
  std::deque<Slot> slots_;
};

// How many strips or tiles of this size are worked on at once.
std::size_t strilesAtOnce(const JobPool& pool, std::uint64_t strileBytes, const Limits& limits);

}  // namespace kelvo::tiff
