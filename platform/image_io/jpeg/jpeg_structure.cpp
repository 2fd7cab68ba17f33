#include "platform/image_io/jpeg/jpeg_structure.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/image_io/jpeg/marker_search.h"
#include "platform/image_io/read_pages.h"

namespace kelvo::jpeg {
namespace {

constexpr std::uint8_t kStartOfImage = 0xD8;
constexpr std::uint8_t kEndOfImage = 0xD9;
constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kQuantTables = 0xDB;
constexpr std::uint8_t kNumberOfLines = 0xDC;
constexpr std::uint8_t kRestartInterval = 0xDD;
constexpr std::uint8_t kHuffmanTables = 0xC4;
constexpr std::uint8_t kJpegExtension = 0xC8;
constexpr std::uint8_t kArithmeticConditioning = 0xCC;
constexpr std::uint8_t kComment = 0xFE;

// More scans than any encoder writes, few enough that no file keeps a decoder busy for hours.
constexpr std::size_t kMaxScans = 500;
// Of metadata; each is up to 64 KiB, so that those who need more than one need few.
constexpr std::size_t kMaxSegments = 65'536;

// Bytes; pages are let go of in between.
constexpr std::size_t kSearchedAtOnce = 64 * 1024;

// Where the coefficients of the file's diagonal order lie in a block read row by row.
constexpr std::array<std::uint8_t, 64> kNaturalOrder = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

bool isFrameHeader(std::uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != kHuffmanTables && marker != kJpegExtension &&
         marker != kArithmeticConditioning;
}

bool isRestart(std::uint8_t marker) { return marker >= 0xD0 && marker <= 0xD7; }

class Reader {
 public:
  Reader(std::span<const std::byte> file, Extent extent, const MappedFile* mapped)
      : file_(file), extent_(extent), pages_(mapped) {}

  Structure read() {
    at_ = 2;  // past the start-of-image marker, which the signature has seen
    while (step()) {
    }
    return std::move(result_);
  }

 private:
  [[nodiscard]] std::uint8_t byteAt(std::size_t at) const {
    return std::to_integer<std::uint8_t>(file_[at]);
  }

  bool fail(CGImageSourceStatus status, std::string cause) {
    result_.status = {status, std::move(cause)};
    return false;
  }
  bool damaged(std::string cause) {
    return fail(CGImageSourceStatus::invalidData, std::move(cause));
  }
  bool endsEarly() {
    return fail(CGImageSourceStatus::incomplete, "the file ends before its end-of-image marker");
  }

  // One marker with what belongs to it; false at the end, reached or not.
  bool step() {
    if (at_ >= file_.size()) return endsEarly();
    if (byteAt(at_) != 0xFF) return damaged("there are stray bytes where a marker should stand");
    while (at_ < file_.size() && byteAt(at_) == 0xFF) ++at_;  // any number of fill bytes
    if (at_ >= file_.size()) return endsEarly();
    const std::uint8_t marker = byteAt(at_++);
    if (marker == kEndOfImage) {
      result_.end = at_;
      if (result_.scans.empty()) return damaged("the file has no picture data");
      return false;
    }
    if (marker == kStartOfImage) return damaged("a second picture begins within the first");
    if (marker == 0x00 || marker == 0x01 || isRestart(marker)) {
      return damaged("there is a marker where none belongs");
    }
    if (file_.size() - at_ < 2) return endsEarly();
    const std::size_t length = std::size_t{byteAt(at_)} << 8 | byteAt(at_ + 1);
    if (length < 2) return damaged("a marker segment has an impossible length");
    if (file_.size() - at_ < length) return endsEarly();
    const auto payload = file_.subspan(at_ + 2, length - 2);
    at_ += length;
    return segment(marker, payload);
  }

  bool segment(std::uint8_t marker, std::span<const std::byte> payload) {
    payload_ = payload;
    if ((marker >= 0xE0 && marker <= 0xEF) || marker == kComment) {
      if (result_.segments.size() >= kMaxSegments) {
        return damaged("it has more than 65536 segments of metadata");
      }
      result_.segments.push_back({marker, payload});
      return true;
    }
    if (marker == kQuantTables) return quantTables();
    if (marker == kHuffmanTables) return huffmanTables();
    if (marker == kArithmeticConditioning) return conditioning();
    if (marker == kRestartInterval) {
      if (payload.size() != 2) return damaged("the restart interval has an impossible length");
      restartInterval_ = word(0);
      return true;
    }
    if (marker == kNumberOfLines) {
      return damaged("its height is given after the pixels, which is not supported");
    }
    if (isFrameHeader(marker)) return frameHeader(marker);
    if (marker == kStartOfScan) return scan();
    return damaged("there is a marker of a kind that no supported file has");
  }

  [[nodiscard]] std::uint8_t at(std::size_t index) const {
    return std::to_integer<std::uint8_t>(payload_[index]);
  }
  [[nodiscard]] std::uint16_t word(std::size_t index) const {
    return static_cast<std::uint16_t>(at(index) << 8 | at(index + 1));
  }

  bool quantTables() {
    for (std::size_t i = 0; i < payload_.size();) {
      const std::size_t slot = at(i) & 15U;
      const bool wide = at(i) >> 4 != 0;
      const std::size_t bytes = wide ? 128 : 64;
      ++i;
      if (slot >= kTableSlots || payload_.size() - i < bytes) {
        return damaged("a quantisation table is damaged");
      }
      QuantTable table = {};
      for (std::size_t k = 0; k < 64; ++k) {
        table[kNaturalOrder[k]] = wide ? word(i + 2 * k) : at(i + k);
      }
      if (std::find(table.begin(), table.end(), 0) != table.end()) {
        return damaged("a quantisation table is damaged");
      }
      quantTables_[slot] = table;
      i += bytes;
    }
    return true;
  }

  bool huffmanTables() {
    for (std::size_t i = 0; i < payload_.size();) {
      const std::size_t slot = at(i) & 15U;
      const std::uint8_t kind = at(i) >> 4;
      ++i;
      HuffmanTable table;
      std::size_t total = 0;
      if (slot >= kTableSlots || kind > 1 || payload_.size() - i < 16) {
        return damaged("a Huffman table is damaged");
      }
      for (std::size_t bits = 1; bits <= 16; ++bits) {
        table.counts[bits] = at(i++);
        total += table.counts[bits];
      }
      if (total > 256 || payload_.size() - i < total) return damaged("a Huffman table is damaged");
      for (std::size_t k = 0; k < total; ++k) table.symbols.push_back(at(i + k));
      i += total;
      (kind == 0 ? dcTables_ : acTables_)[slot] = std::move(table);
    }
    return true;
  }

  bool conditioning() {
    for (std::size_t i = 0; i + 1 < payload_.size(); i += 2) {
      const std::size_t slot = at(i) & 15U;
      if (slot >= kTableSlots) return damaged("the arithmetic coder's settings are damaged");
      if (at(i) >> 4 == 0) {
        conditioning_.dcLower[slot] = at(i + 1) & 15U;
        conditioning_.dcUpper[slot] = at(i + 1) >> 4;
      } else {
        conditioning_.ac[slot] = at(i + 1);
      }
    }
    return true;
  }

  bool frameHeader(std::uint8_t marker) {
    if (result_.frameMarker != 0) return damaged("the file has two frame headers");
    if (payload_.size() < 6 || payload_.size() != std::size_t{6} + std::size_t{3} * at(5)) {
      return damaged("the frame header is damaged");
    }
    result_.precision = at(0);
    result_.height = word(1);
    result_.width = word(3);
    for (std::size_t i = 6; i < payload_.size(); i += 3) {
      Component component;
      component.id = at(i);
      component.horizontalSampling = at(i + 1) >> 4;
      component.verticalSampling = at(i + 1) & 15U;
      component.quantSlot = at(i + 2);
      const bool known =
          std::any_of(result_.components.begin(), result_.components.end(),
                      [&](const Component& other) { return other.id == component.id; });
      if (known || component.horizontalSampling < 1 || component.horizontalSampling > 4 ||
          component.verticalSampling < 1 || component.verticalSampling > 4 ||
          component.quantSlot >= kTableSlots) {
        return damaged("the frame header is damaged");
      }
      result_.components.push_back(component);
    }
    result_.frameMarker = marker;
    return true;
  }

  bool scan() {
    const std::size_t count = payload_.empty() ? 0 : at(0);
    if (result_.frameMarker == 0) return damaged("picture data comes before the frame header");
    if (count < 1 || count > kMaxComponents || payload_.size() != 4 + 2 * count) {
      return damaged("a scan header is damaged");
    }
    if (result_.scans.size() >= kMaxScans) {
      return damaged("it has more than " + std::to_string(kMaxScans) + " scans");
    }
    Scan scan;
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t id = at(1 + 2 * i);
      const auto found = std::find_if(result_.components.begin(), result_.components.end(),
                                      [&](const Component& one) { return one.id == id; });
      if (found == result_.components.end()) return damaged("a scan header is damaged");
      scan.components.push_back(
          static_cast<std::uint8_t>(std::distance(result_.components.begin(), found)));
    }
    scan.spectralStart = at(1 + 2 * count);
    scan.spectralEnd = at(2 + 2 * count);
    scan.approximationHigh = at(3 + 2 * count) >> 4;
    scan.approximationLow = at(3 + 2 * count) & 15U;
    scan.restartInterval = restartInterval_;
    for (std::size_t i = 0; i < count; ++i) {
      latchTables(scan.components[i], at(2 + 2 * i), scan);
    }
    if (result_.scans.empty()) {
      result_.dcTables = dcTables_;
      result_.acTables = acTables_;
      result_.conditioning = conditioning_;
    }
    result_.scans.push_back(std::move(scan));
    return extent_ == Extent::wholeFile && skipEntropyCodedData();
  }

  // A component keeps the quantisation table of its first scan, whatever is redefined later. Of the
  // coding tables a scan uses one kind or both.
  void latchTables(std::uint8_t index, std::uint8_t slots, const Scan& scan) {
    Component& component = result_.components[index];
    if (!component.quantTable) component.quantTable = quantTables_[component.quantSlot];
    if (scan.spectralStart == 0 && !dcKnown_[index]) {
      component.dcSlot = slots >> 4 & 3U;
      dcKnown_[index] = true;
    }
    if (scan.spectralEnd > 0 && !acKnown_[index]) {
      component.acSlot = slots & 3U;
      acKnown_[index] = true;
    }
  }

  bool skipEntropyCodedData() {
    for (;;) {
      pages_.upTo(file_.data() + at_);
      const std::size_t end = std::min(file_.size(), at_ + kSearchedAtOnce);
      at_ = findMarker(file_, at_, end);
      if (at_ == end) {
        if (end == file_.size()) return endsEarly();
        continue;
      }
      std::size_t next = at_ + 1;
      while (next < file_.size() && byteAt(next) == 0xFF) ++next;
      if (next >= file_.size()) return endsEarly();
      if (byteAt(next) != 0x00 && !isRestart(byteAt(next))) return true;  // at_ is at the marker
      at_ = next + 1;
    }
  }

  std::span<const std::byte> file_;
  Extent extent_;
  ReadPages pages_;
  std::size_t at_ = 0;
  std::span<const std::byte> payload_;  // of the segment being read
  std::array<std::optional<QuantTable>, kTableSlots> quantTables_;
  std::array<std::optional<HuffmanTable>, kTableSlots> dcTables_;
  std::array<std::optional<HuffmanTable>, kTableSlots> acTables_;
  // A frame header's component count is one byte.
  std::array<bool, 256> dcKnown_ = {};
  std::array<bool, 256> acKnown_ = {};
  std::uint32_t restartInterval_ = 0;
  ArithmeticConditioning conditioning_;
  Structure result_;
};

}  // namespace

Structure readStructure(std::span<const std::byte> file, Extent extent, const MappedFile* mapped) {
  return Reader(file, extent, mapped).read();
}

}  // namespace kelvo::jpeg
