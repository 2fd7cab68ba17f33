#include "platform/image_io/tiff/lzw.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace kelvo::tiff {
namespace {

constexpr std::uint32_t kClear = 256;
constexpr std::uint32_t kEnd = 257;
constexpr std::uint32_t kFirst = 258;  // of the codes that are made on the way
constexpr std::uint32_t kCodes = 4096;
constexpr std::uint32_t kLast = kCodes - 2;  // an encoder clears its table before it makes this one
constexpr unsigned kLeastBits = 9;
constexpr unsigned kMostBits = 12;

std::uint64_t loadBigEndian(const std::byte* from) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < 8; ++i) value = value << 8 | std::to_integer<std::uint64_t>(from[i]);
  return value;
}

void storeBigEndian(std::uint64_t value, std::byte* to) {
  for (std::size_t i = 8; i-- > 0; value >>= 8) to[i] = static_cast<std::byte>(value & 0xFF);
}

class CodeReader {
 public:
  explicit CodeReader(std::span<const std::byte> bytes)
      : next_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  // False at the end of the data.
  bool read(unsigned width, std::uint32_t& code) {
    if (count_ < width) {
      refill();
      if (count_ < width) return false;
    }
    code = static_cast<std::uint32_t>(held_ >> (64 - width));
    held_ <<= width;
    count_ -= width;
    return true;
  }

 private:
  void refill() {
    if (end_ - next_ >= 8) {
      held_ |= loadBigEndian(next_) >> count_;
      const unsigned bytes = (63 - count_) / 8;
      next_ += bytes;
      count_ += bytes * 8;
      // Of the bits beyond these, which are loaded again.
      held_ &= ~std::uint64_t{0} << (64 - count_);
      return;
    }
    while (count_ <= 56 && next_ != end_) {
      held_ |= std::to_integer<std::uint64_t>(*next_++) << (56 - count_);
      count_ += 8;
    }
  }

  const std::byte* next_;
  const std::byte* end_;
  std::uint64_t held_ = 0;  // the next bit highest
  unsigned count_ = 0;
};

class CodeWriter {
 public:
  // There is room for all that will be written and for eight bytes more.
  explicit CodeWriter(std::byte* to) : to_(to) {}

  void write(std::uint32_t code, unsigned width) {
    count_ += width;
    held_ |= std::uint64_t{code} << (64 - count_);
    if (count_ < 48) return;
    flush();
  }
  std::byte* finish() {
    flush();
    return count_ == 0 ? to_ : to_ + 1;
  }

 private:
  void flush() {
    storeBigEndian(held_, to_);
    to_ += count_ / 8;
    held_ <<= count_ / 8 * 8;
    count_ %= 8;
  }

  std::byte* to_;
  std::uint64_t held_ = 0;
  unsigned count_ = 0;
};

// Which code stands for the string of a code and one more byte. An entry holds both and the code
// for them: 12, 8 and 12 bits.
class StringTable {
 public:
  StringTable() { clear(); }
  void clear() { entries_.fill(kEmpty); }

  // The place of the string's entry, or of the free one where it belongs.
  std::uint32_t& find(std::uint32_t key) {
    std::uint32_t at = key * kMultiplier >> (32 - kBits);
    while (entries_[at] >> kMostBits != key && entries_[at] != kEmpty) at = (at + 1) % kSize;
    return entries_[at];
  }
  static bool isEmpty(std::uint32_t entry) { return entry == kEmpty; }

 private:
  static constexpr unsigned kBits = 13;  // twice as many places as codes; fits the nearest cache
  static constexpr std::uint32_t kSize = 1U << kBits;
  static constexpr std::uint32_t kMultiplier = 0x9E3779B1;  // 2^32 over the golden ratio
  static constexpr std::uint32_t kEmpty = 0xFFFFFFFF;       // no code is as large as this one's

  std::array<std::uint32_t, kSize> entries_;
};

}  // namespace

bool decodeLzw(std::span<const std::byte> strile, std::span<std::byte> samples) {
  // A code's string is what was written for the code before it and the byte that followed.
  struct String {
    std::uint32_t start = 0;
    std::uint32_t length = 0;
  };
  std::array<String, kCodes> strings;
  CodeReader reader(strile);
  std::byte* const out = samples.data();
  const std::size_t size = samples.size();
  std::size_t at = 0;
  std::uint32_t next = kFirst;
  unsigned width = kLeastBits;
  String before;
  std::uint32_t code = 0;
  if (size > UINT32_MAX || !reader.read(width, code) || code != kClear) return false;
  while (at < size) {
    if (!reader.read(width, code) || code == kEnd) return false;
    if (code == kClear) {
      next = kFirst;
      width = kLeastBits;
      before = {};
      continue;
    }
    if (before.length != 0) {
      if (next == kCodes) return false;
      strings[next++] = {before.start, before.length + 1};
      if (next + 1 == 1U << width && width < kMostBits) ++width;
    }
    before.start = static_cast<std::uint32_t>(at);
    if (code < kClear) {
      before.length = 1;
      out[at++] = static_cast<std::byte>(code);
      continue;
    }
    if (code >= next) return false;
    const String string = strings[code];
    before.length = string.length;
    const std::byte* from = out + string.start;
    std::byte* to = out + at;
    if (string.length <= 8 && size - at >= 8 && at - string.start >= 8) {
      std::memcpy(to, from, 8);
      at += string.length;
      continue;
    }
    const std::size_t length = std::min<std::size_t>(string.length, size - at);
    if (at - string.start >= length) {
      std::memcpy(to, from, length);
    } else {
      for (std::size_t i = 0; i < length; ++i) to[i] = from[i];  // it reaches into itself
    }
    at += length;
  }
  return true;
}

void encodeLzw(std::span<const std::byte> samples, std::vector<std::byte>& strile) {
  // 12 bits a byte at the most, clear codes and what the writer asks for.
  strile.resize(samples.size() + samples.size() / 2 + samples.size() / 1024 + 32);
  CodeWriter writer(strile.data());
  StringTable table;
  std::uint32_t next = kFirst;
  unsigned width = kLeastBits;
  const auto made = [&] {
    ++next;
    if (next == kLast) {
      writer.write(kClear, width);
      table.clear();
      next = kFirst;
      width = kLeastBits;
    } else if (next == 1U << width) {
      ++width;
    }
  };
  writer.write(kClear, width);
  if (!samples.empty()) {
    auto string = std::to_integer<std::uint32_t>(samples.front());
    for (const std::byte sample : samples.subspan(1)) {
      const auto byte = std::to_integer<std::uint32_t>(sample);
      const std::uint32_t key = string << 8 | byte;
      std::uint32_t& entry = table.find(key);
      if (!StringTable::isEmpty(entry)) {
        string = entry & (kCodes - 1);
        continue;
      }
      entry = key << kMostBits | next;
      writer.write(string, width);
      made();
      string = byte;
    }
    writer.write(string, width);
    made();
  }
  writer.write(kEnd, width);
  strile.resize(static_cast<std::size_t>(writer.finish() - strile.data()));
}

}  // namespace kelvo::tiff
