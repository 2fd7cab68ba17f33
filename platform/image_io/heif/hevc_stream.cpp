#include "platform/image_io/heif/hevc_stream.h"

#include <algorithm>

namespace kelvo::heif {
namespace {

constexpr unsigned kSequenceParameters = 33;
constexpr unsigned kPictureParameters = 34;

unsigned unitType(Bytes unit) {
  return unit.size() < 2 ? 64 : std::to_integer<unsigned>(unit[0]) >> 1 & 63;
}
bool isIntraSlice(unsigned type) { return type >= 16 && type <= 21; }
bool isInstantRefresh(unsigned type) { return type == 19 || type == 20; }

// The bits of a unit behind its header, without the bytes that only keep start codes out.
class BitReader {
 public:
  explicit BitReader(Bytes unit, std::size_t limit = 4096) {
    unsigned zeros = 0;
    for (std::size_t i = 2; i < unit.size() && bytes_.size() < limit; ++i) {
      const auto byte = std::to_integer<std::uint8_t>(unit[i]);
      if (zeros >= 2 && byte == 3) {
        zeros = 0;
        continue;
      }
      zeros = byte == 0 ? zeros + 1 : 0;
      bytes_.push_back(byte);
    }
  }

  unsigned bits(unsigned count) {
    unsigned value = 0;
    while (count-- > 0) {
      if (position_ >= bytes_.size() * 8) {
        ok_ = false;
        return 0;
      }
      value = value << 1 | (bytes_[position_ / 8] >> (7 - position_ % 8) & 1U);
      ++position_;
    }
    return value;
  }
  bool flag() { return bits(1) != 0; }
  void skip(unsigned count) {
    for (unsigned i = 0; i < count; ++i) bits(1);
  }
  // Exponential Golomb codes, without and with sign.
  std::uint32_t ue() {
    unsigned zeros = 0;
    while (ok_ && !flag()) ++zeros;
    if (!ok_ || zeros > 31) {
      ok_ = false;
      return 0;
    }
    return (1U << zeros) - 1 + bits(zeros);
  }
  int se() {
    const std::uint32_t value = ue();
    const auto half = static_cast<int>(value / 2);
    return value % 2 == 1 ? half + 1 : -half;
  }
  [[nodiscard]] bool ok() const { return ok_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t position_ = 0;
  bool ok_ = true;
};

struct Sequence {
  HevcSize size;
  bool separatePlanes = false;
  bool offsetFilter = false;
  unsigned chromaFormat = 1;
};

void skipProfile(BitReader& in, unsigned subLayers) {
  in.skip(88 + 8);
  std::vector<std::pair<bool, bool>> present;
  for (unsigned i = 0; i < subLayers; ++i) {
    const bool profile = in.flag();
    present.emplace_back(profile, in.flag());
  }
  if (subLayers > 0) in.skip(2 * (8 - subLayers));
  for (const auto& [profile, level] : present) {
    if (profile) in.skip(88);
    if (level) in.skip(8);
  }
}

void skipScalingLists(BitReader& in) {
  for (unsigned size = 0; size < 4; ++size) {
    for (unsigned matrix = 0; matrix < 6; matrix += size == 3 ? 3 : 1) {
      if (!in.flag()) {
        in.ue();
        continue;
      }
      if (size > 1) in.se();
      const unsigned count = std::min(64U, 1U << (4 + (size << 1)));
      for (unsigned i = 0; i < count && in.ok(); ++i) in.se();
    }
  }
}

std::optional<Sequence> readSequence(Bytes unit) {
  BitReader in(unit);
  Sequence sequence;
  in.skip(4);
  const unsigned subLayers = in.bits(3);
  in.skip(1);
  skipProfile(in, subLayers);
  in.ue();
  sequence.chromaFormat = in.ue();
  if (sequence.chromaFormat == 3) sequence.separatePlanes = in.flag();
  std::uint32_t width = in.ue();
  std::uint32_t height = in.ue();
  if (in.flag()) {
    const std::uint32_t stepX = sequence.chromaFormat == 1 || sequence.chromaFormat == 2 ? 2 : 1;
    const std::uint32_t stepY = sequence.chromaFormat == 1 ? 2 : 1;
    const std::uint64_t left = in.ue();
    const std::uint64_t acrossCut = (left + in.ue()) * stepX;
    const std::uint64_t top = in.ue();
    const std::uint64_t downCut = (top + in.ue()) * stepY;
    if (acrossCut >= width || downCut >= height) return std::nullopt;
    width -= static_cast<std::uint32_t>(acrossCut);
    height -= static_cast<std::uint32_t>(downCut);
  }
  sequence.size = {.width = width, .height = height};
  in.ue();  // depths
  in.ue();
  in.ue();  // bits of the picture order count
  for (unsigned i = in.flag() ? 0 : subLayers; i <= subLayers; ++i) {
    in.ue();
    in.ue();
    in.ue();
  }
  for (int i = 0; i < 6; ++i) in.ue();  // block sizes and depths of transforms
  if (in.flag() && in.flag()) skipScalingLists(in);
  in.skip(1);  // asymmetric partitions
  sequence.offsetFilter = in.flag();
  if (!in.ok()) return std::nullopt;
  return sequence;
}

struct PictureParameters {
  bool outputFlag = false;
  unsigned extraBits = 0;
  int initialQuantiser = 26;
  bool lossless = false;
};

std::optional<PictureParameters> readPictureParameters(Bytes unit) {
  BitReader in(unit);
  PictureParameters parameters;
  in.ue();
  in.ue();
  in.skip(1);
  parameters.outputFlag = in.flag();
  parameters.extraBits = in.bits(3);
  in.skip(2);
  in.ue();
  in.ue();
  parameters.initialQuantiser = 26 + in.se();
  in.skip(2);  // constrained prediction, skipped transforms
  if (in.flag()) in.ue();
  in.se();
  in.se();
  in.skip(3);  // chroma offsets in slices, weighted prediction
  parameters.lossless = in.flag();
  if (!in.ok()) return std::nullopt;
  return parameters;
}

std::optional<int> readSliceQuantiser(Bytes unit, const Sequence& sequence,
                                      const PictureParameters& parameters) {
  constexpr std::uint32_t kIntra = 2;
  BitReader in(unit, 256);
  const unsigned type = unitType(unit);
  if (!in.flag()) return std::nullopt;
  in.skip(1);
  in.ue();
  in.skip(parameters.extraBits);
  if (in.ue() != kIntra) return std::nullopt;
  if (parameters.outputFlag) in.skip(1);
  if (sequence.separatePlanes) in.skip(2);
  if (!isInstantRefresh(type)) return std::nullopt;
  if (sequence.offsetFilter) {
    in.skip(sequence.chromaFormat != 0 && !sequence.separatePlanes ? 2 : 1);
  }
  const int quantiser = parameters.initialQuantiser + in.se();
  if (!in.ok() || quantiser < -48 || quantiser > 51) return std::nullopt;
  return quantiser;
}

}  // namespace

std::optional<HevcConfiguration> readHevcConfiguration(Bytes record) {
  Reader reader(record);
  HevcConfiguration configuration;
  const unsigned version = reader.u8();
  reader.take(15);
  configuration.chromaFormat = reader.u8() & 3;
  configuration.lumaDepth = 8 + (reader.u8() & 7);
  configuration.chromaDepth = 8 + (reader.u8() & 7);
  reader.take(2);
  configuration.lengthBytes = 1 + (reader.u8() & 3);
  const unsigned arrays = reader.u8();
  for (unsigned i = 0; i < arrays; ++i) {
    reader.take(1);
    const unsigned count = reader.u16();
    for (unsigned k = 0; k < count && reader.ok(); ++k) {
      configuration.units.push_back(reader.take(reader.u16()));
    }
  }
  if (!reader.ok() || version != 1) return std::nullopt;
  return configuration;
}

std::optional<std::vector<Bytes>> splitHevcUnits(Bytes data, unsigned lengthBytes) {
  std::vector<Bytes> units;
  Reader reader(data);
  while (reader.ok() && !reader.rest().empty()) {
    const Bytes unit = reader.take(reader.number(lengthBytes));
    if (unit.size() < 2) return std::nullopt;
    units.push_back(unit);
  }
  if (!reader.ok() || units.empty()) return std::nullopt;
  return units;
}

std::optional<HevcCoding> readHevcCoding(const HevcConfiguration& configuration,
                                         const std::vector<Bytes>& units) {
  std::vector<Bytes> all = configuration.units;
  all.insert(all.end(), units.begin(), units.end());
  std::optional<Sequence> sequence;
  std::optional<PictureParameters> parameters;
  for (const Bytes unit : all) {
    const unsigned type = unitType(unit);
    if (type == kSequenceParameters) sequence = readSequence(unit);
    if (type == kPictureParameters) parameters = readPictureParameters(unit);
    if (!isIntraSlice(type)) continue;
    if (!sequence || !parameters) return std::nullopt;
    HevcCoding coding = {.size = sequence->size, .lossless = parameters->lossless};
    // Rarer slices than those of a still picture keep the middle of the scale.
    coding.quantiser =
        readSliceQuantiser(unit, *sequence, *parameters).value_or(parameters->initialQuantiser);
    return coding;
  }
  return std::nullopt;
}

}  // namespace kelvo::heif
