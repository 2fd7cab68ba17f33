#include "platform/image_io/jxl/frame_walk.h"

#include <algorithm>
#include <array>
#include <optional>

#include "platform/image_io/jxl/bit_reader.h"

namespace kelvo::jxl {
namespace {

enum FrameType : unsigned { kRegular = 0, kLowFrequencies = 1, kReferenceOnly = 2, kSkipped = 3 };
enum BlendMode : unsigned { kReplace = 0, kBlend = 2, kWeightedAdd = 3, kMultiply = 4 };

struct FrameHead {
  bool picture = true;
  bool last = true;
  std::uint64_t width = 0;  // as it is coded, before it is enlarged
  std::uint64_t height = 0;
  std::uint64_t groups = 1;
  std::uint64_t lowGroups = 1;  // of 8 x 8 as many pixels
  unsigned passes = 1;
  bool modular = false;
};

std::uint64_t divided(std::uint64_t value, std::uint64_t by) { return (value + by - 1) / by; }

// A frame's header: ISO/IEC 18181-1, annex F.
class HeadReader {
 public:
  HeadReader(BitReader& reader, const JxlBasicInfo& info) : reader_(reader), info_(info) {
    head_.width = info.xsize;
    head_.height = info.ysize;
  }

  // Absent: cut short, or of a kind that is not known.
  std::optional<FrameHead> read() {
    unsigned groupShift = 1;
    if (!reader_.flag()) {
      const unsigned type = reader_.bits(2);
      head_.picture = type == kRegular || type == kSkipped;
      head_.modular = reader_.flag();
      groupShift = readCoding();
      if (type != kReferenceOnly) readPasses();
      const unsigned level = type == kLowFrequencies ? 1 + reader_.bits(2) : 0;
      head_.width = divided(head_.width, std::uint64_t{1} << (3 * level));
      head_.height = divided(head_.height, std::uint64_t{1} << (3 * level));
      bool partial = false;
      if (type != kLowFrequencies && reader_.flag()) partial = readArea();
      if (head_.picture) readBlending(partial);
      if (!head_.picture) head_.last = false;
      readReferences(type);
      skipName();
      if (!skipFilters() || reader_.variable() != 0) return std::nullopt;
    }
    if (!reader_.ok() || head_.width == 0 || head_.height == 0) return std::nullopt;
    countGroups(groupShift);
    return head_;
  }

 private:
  unsigned readCoding() {
    constexpr std::uint64_t kOtherFrameHasLowest = 32;
    const bool xyb = info_.uses_original_profile == 0;
    const bool lowestElsewhere = (reader_.variable() & kOtherFrameHasLowest) != 0;
    const bool luma = !xyb && reader_.flag();
    if (luma && !lowestElsewhere) reader_.bits(3 * 2);
    if (!lowestElsewhere) {
      enlarged_ = 1U << reader_.bits(2);
      for (std::uint32_t i = 0; i < info_.num_extra_channels; ++i) reader_.bits(2);
    }
    if (head_.modular) return reader_.bits(2);
    if (xyb) reader_.bits(3 + 3);
    return 1;
  }

  void readPasses() {
    head_.passes = reader_.ranged({{{1, 0}, {2, 0}, {3, 0}, {4, 3}}});
    if (head_.passes == 1) return;
    const unsigned reduced = reader_.ranged({{{0, 0}, {1, 0}, {2, 0}, {3, 1}}});
    reader_.bits(2 * (head_.passes - 1));
    reader_.bits(2 * reduced);
    for (unsigned i = 0; i < reduced; ++i) reader_.ranged({{{0, 0}, {1, 0}, {2, 0}, {0, 3}}});
  }

  // Whether it covers the picture only in part.
  bool readArea() {
    constexpr std::array<BitReader::Range, 4> kSides = {
        {{0, 8}, {256, 11}, {2304, 14}, {18688, 30}}};
    std::int64_t left = 0;
    std::int64_t top = 0;
    if (head_.picture) {
      left = signedOf(reader_.ranged(kSides));
      top = signedOf(reader_.ranged(kSides));
    }
    head_.width = reader_.ranged(kSides);
    head_.height = reader_.ranged(kSides);
    return left > 0 || top > 0 || left + static_cast<std::int64_t>(head_.width) < info_.xsize ||
           top + static_cast<std::int64_t>(head_.height) < info_.ysize;
  }

  static std::int64_t signedOf(std::uint32_t packed) {
    const auto half = static_cast<std::int64_t>(packed >> 1U);
    return (packed & 1U) != 0 ? -half - 1 : half;
  }

  void readBlending(bool partial) {
    const std::uint32_t extra = info_.num_extra_channels;
    for (std::uint32_t i = 0; i <= extra; ++i) {
      const unsigned mode = reader_.ranged({{{0, 0}, {1, 0}, {2, 0}, {3, 2}}});
      const bool byAlpha = extra > 0 && (mode == kBlend || mode == kWeightedAdd);
      if (byAlpha) reader_.ranged({{{0, 0}, {1, 0}, {2, 0}, {3, 3}}});
      if (byAlpha || mode == kMultiply) reader_.flag();
      if (mode != kReplace || partial) reader_.bits(2);
      if (i == 0) replaces_ = mode == kReplace && !partial;
    }
    if (info_.have_animation != 0) {
      duration_ = reader_.ranged({{{0, 0}, {1, 0}, {0, 8}, {0, 32}}});
      if (info_.animation.have_timecodes != 0) reader_.bits(32);
    }
    head_.last = reader_.flag();
  }

  void readReferences(unsigned type) {
    if (type == kLowFrequencies || head_.last) return;
    const unsigned slot = reader_.bits(2);
    const bool kept = duration_ == 0 || slot != 0;
    if (type == kReferenceOnly || (kept && replaces_)) reader_.flag();
  }

  void skipName() {
    const unsigned bytes = reader_.ranged({{{0, 0}, {0, 4}, {16, 5}, {48, 10}}});
    for (unsigned i = 0; i < bytes; ++i) reader_.bits(8);
  }

  void skipNumbers(unsigned count) {
    for (unsigned i = 0; i < count; ++i) reader_.bits(16);
  }

  // False if there is more than is known.
  bool skipFilters() {
    if (reader_.flag()) return true;
    if (reader_.flag() && reader_.flag()) skipNumbers(6);
    if (reader_.bits(2) != 0) {
      if (!head_.modular && reader_.flag()) skipNumbers(8);
      if (reader_.flag()) skipNumbers(3 + 4);
      if (reader_.flag()) skipNumbers(head_.modular ? 3 : 4);
      if (head_.modular) skipNumbers(1);
    }
    return reader_.variable() == 0;
  }

  void countGroups(unsigned shift) {
    head_.width = divided(head_.width, enlarged_);
    head_.height = divided(head_.height, enlarged_);
    const std::uint64_t side = std::uint64_t{128} << shift;
    head_.groups = divided(head_.width, side) * divided(head_.height, side);
    head_.lowGroups = divided(head_.width, 8 * side) * divided(head_.height, 8 * side);
  }

  BitReader& reader_;
  const JxlBasicInfo& info_;
  FrameHead head_;
  std::uint64_t enlarged_ = 1;
  std::uint32_t duration_ = 0;
  bool replaces_ = true;  // the colours of the whole picture
};

struct Contents {
  bool permuted = false;  // then nothing else is known
  std::uint64_t bytes = 0;
};

Contents readContents(BitReader& reader, const FrameHead& head) {
  if (reader.flag()) return {.permuted = true};
  reader.align();
  const std::uint64_t entries =
      head.groups == 1 && head.passes == 1 ? 1 : 2 + head.lowGroups + head.groups * head.passes;
  Contents contents;
  for (std::uint64_t i = 0; i < entries && reader.ok(); ++i) {
    contents.bytes += reader.ranged({{{0, 10}, {1024, 14}, {17408, 22}, {4211712, 30}}});
  }
  reader.align();
  return contents;
}

}  // namespace

Result<HiddenFrames> findHiddenFrames(heif::Bytes frames, const JxlBasicInfo& info,
                                      const std::vector<std::size_t>& sections) {
  const Error unknown = {"its frames follow one another in a way that is not known"};
  HiddenFrames hidden;
  std::size_t position = 0;
  std::size_t pictures = 0;
  for (;;) {
    BitReader reader(frames.subspan(position));
    const auto head = HeadReader(reader, info).read();
    if (!head) return unknown;
    const Contents contents = readContents(reader, *head);
    if (!reader.ok()) return unknown;
    const std::size_t begin = position + reader.position();
    if (head->picture) {
      const bool expected =
          pictures < sections.size() && (contents.permuted || sections[pictures] == begin);
      if (!expected) return unknown;
      ++pictures;
    } else {
      ++hidden.count;
      hidden.largest = std::max(hidden.largest, head->width * head->height);
    }
    if (head->last) break;
    if (contents.permuted) {
      return Error{"a picture stored out of order, with others behind it, cannot be adjusted"};
    }
    if (contents.bytes > frames.size() - begin) return unknown;
    position = begin + contents.bytes;
  }
  if (pictures != sections.size()) return unknown;
  return hidden;
}

}  // namespace kelvo::jxl
