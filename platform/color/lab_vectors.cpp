#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/color/lab_vectors.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/color/lab_vectors.h"

HWY_BEFORE_NAMESPACE();
namespace kelvo::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using D = hn::CappedTag<float, 16>;
using V = hn::Vec<D>;

constexpr float kEpsilon = 216.0F / 24389.0F;
constexpr float kKappaOver116 = 24389.0F / 27.0F / 116.0F;
constexpr float k16Over116 = 16.0F / 116.0F;

// Truncates numbers that lie within i32, without the care for others.
hn::Vec<hn::RebindToSigned<D>> truncateSmall(V v) {
#if HWY_TARGET <= HWY_AVX3
  return {_mm512_cvttps_epi32(v.raw)};
#elif HWY_TARGET == HWY_AVX2
  return {_mm256_cvttps_epi32(v.raw)};
#else
  return hn::ConvertTo(hn::RebindToSigned<D>(), v);
#endif
}

// Stores numbers from 0 to 255 as bytes.
void storeLevels(hn::Vec<hn::RebindToSigned<D>> levels, std::uint8_t* to) {
#if HWY_TARGET <= HWY_AVX3
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm512_cvtepi32_epi8(levels.raw));
#else
  const hn::Rebind<std::uint8_t, D> d8;
  hn::StoreU(hn::DemoteTo(d8, levels), d8, to);
#endif
}

// A first guess from the exponent (dividing the bits of a float by three), then Halley's iteration
// x (x^3 + 2 t) / (2 x^3 + t), which triples the correct digits each time.
V cubeRoot(D d, V t) {
  const hn::RebindToUnsigned<D> du;
  const auto bits = hn::BitCast(du, t);
  // bits / 3 through floats: the guess need not be exact.
  const hn::RebindToSigned<D> di;
  const auto third =
      truncateSmall(hn::Mul(hn::ConvertTo(d, hn::BitCast(di, bits)), hn::Set(d, 1.0F / 3.0F)));
  V x = hn::BitCast(d, hn::Add(third, hn::Set(di, 0x2a5137a0)));
  for (int i = 0; i < 2; ++i) {
    const V cube = hn::Mul(hn::Mul(x, x), x);
    const V up = hn::Add(cube, hn::Add(t, t));
    const V down = hn::Add(hn::Add(cube, cube), t);
    x = hn::Mul(x, hn::Div(up, down));
  }
  return x;
}

V root(D d, V t) {
  const V linear = hn::Add(hn::Mul(t, hn::Set(d, kKappaOver116)), hn::Set(d, k16Over116));
  return hn::IfThenElse(hn::Gt(t, hn::Set(d, kEpsilon)), cubeRoot(d, t), linear);
}

// Stores numbers as bytes: limited to 0…255, the nearest whole number.
void storeNearest(D d, V v, std::uint8_t* to) {
  const V limited = hn::Min(hn::Max(v, hn::Zero(d)), hn::Set(d, 255.0F));
  storeLevels(truncateSmall(hn::Add(limited, hn::Set(d, 0.5F))), to);
}

V lightness(D d, V fy) {
  return hn::Sub(hn::Mul(fy, hn::Set(d, 116.0F * 2.55F)), hn::Set(d, 16.0F * 2.55F));
}

// A block's three channels apart from one another.
struct Planes {
  alignas(64) std::uint8_t channels[3][kLabBlock];

  void load(const std::uint8_t* pixels, std::size_t count) {
    const hn::ScalableTag<std::uint8_t> d;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d)) {
      auto a = hn::Zero(d);
      auto b = a;
      auto c = a;
      hn::LoadInterleaved3(d, pixels + 3 * i, a, b, c);
      hn::Store(a, d, channels[0] + i);
      hn::Store(b, d, channels[1] + i);
      hn::Store(c, d, channels[2] + i);
    }
    for (; i < count; ++i) {
      for (std::size_t k = 0; k < 3; ++k) channels[k][i] = pixels[3 * i + k];
    }
    // Whole vectors are computed at the end: their surplus must be numbers, whichever.
    for (auto& channel : channels) std::memset(channel + count, 0, kLabBlock - count);
  }

  void store(std::uint8_t* pixels, std::size_t count) const {
    const hn::ScalableTag<std::uint8_t> d;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d)) {
      hn::StoreInterleaved3(hn::Load(d, channels[0] + i), hn::Load(d, channels[1] + i),
                            hn::Load(d, channels[2] + i), d, pixels + 3 * i);
    }
    for (; i < count; ++i) {
      for (std::size_t k = 0; k < 3; ++k) pixels[3 * i + k] = channels[k][i];
    }
  }
};

void EncodeLightness(const float* y, std::uint8_t* levels, std::size_t count) {
  const D d;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    storeNearest(d, lightness(d, root(d, hn::LoadU(d, y + i))), levels + i);
  }
}

// X/Xn, Y/Yn, Z/Zn and 0 of each pixel, one after the other.
void sumShares(const LabEncoding& encoding, const std::uint8_t* rgb, float* xyz,
               std::size_t count) {
  const hn::CappedTag<float, 4> d;
  const auto& shares = encoding.shares;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < count; ++i) {
    const float* const r = shares[0][rgb[3 * i]].data();
    const float* const g = shares[1][rgb[3 * i + 1]].data();
    const float* const b = shares[2][rgb[3 * i + 2]].data();
    for (std::size_t k = 0; k < 4; k += hn::MaxLanes(d)) {
      const auto sum = hn::Add(hn::Load(d, r + k), hn::Load(d, g + k));
      hn::Store(hn::Add(sum, hn::Load(d, b + k)), d, xyz + 4 * i + k);
    }
  }
  // Whole vectors are computed at the end: their surplus must be numbers.
  std::fill(xyz + 4 * count, xyz + 4 * kLabBlock, 1.0F);
}

void Encode(const LabEncoding& encoding, const std::uint8_t* rgb, std::uint8_t* lab,
            std::size_t count) {
  const D d;
  alignas(64) float xyz[4 * kLabBlock];
  sumShares(encoding, rgb, xyz, count);
  Planes planes;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    V x = hn::Zero(d);
    V y = x;
    V z = x;
    V unused = x;
    hn::LoadInterleaved4(d, xyz + 4 * i, x, y, z, unused);
    x = root(d, x);
    y = root(d, y);
    z = root(d, z);
    const V a = hn::Add(hn::Mul(hn::Sub(x, y), hn::Set(d, 500.0F)), hn::Set(d, 128.0F));
    const V b = hn::Add(hn::Mul(hn::Sub(y, z), hn::Set(d, 200.0F)), hn::Set(d, 128.0F));
    storeNearest(d, lightness(d, y), planes.channels[0] + i);
    storeNearest(d, a, planes.channels[1] + i);
    storeNearest(d, b, planes.channels[2] + i);
  }
  planes.store(lab, count);
}

V unroot(D d, V f) {
  const V cube = hn::Mul(hn::Mul(f, f), f);
  const V linear = hn::Mul(hn::Sub(f, hn::Set(d, k16Over116)), hn::Set(d, 1.0F / kKappaOver116));
  return hn::IfThenElse(hn::Gt(cube, hn::Set(d, kEpsilon)), cube, linear);
}

V row(D d, const float* m, V x, V y, V z) {
  return hn::Add(hn::Add(hn::Mul(hn::Set(d, m[0]), x), hn::Mul(hn::Set(d, m[1]), y)),
                 hn::Mul(hn::Set(d, m[2]), z));
}

V asFloats(D d, const std::uint8_t* levels) {
  const hn::RebindToSigned<D> di;
  const hn::Rebind<std::uint8_t, D> d8;
  return hn::ConvertTo(d, hn::PromoteTo(di, hn::LoadU(d8, levels)));
}

// The bits of a float, limited to those that LevelSteps knows.
hn::Vec<hn::RebindToSigned<D>> stepBits(D d, V linear) {
  const hn::RebindToSigned<D> di;
  const V limited =
      hn::Min(hn::Max(linear, hn::BitCast(d, hn::Set(di, LevelSteps::kFirstBits))), hn::Set(d, 1));
  return hn::BitCast(di, limited);
}

void Decode(const std::uint8_t* lab, const LabDecoding& decoding, std::uint8_t* rgb,
            std::size_t count) {
  const D d;
  const hn::RebindToSigned<D> di;
  Planes planes;
  planes.load(lab, count);
  alignas(64) std::int32_t bits[3][kLabBlock];
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    const V l = asFloats(d, planes.channels[0] + i);
    const V a = asFloats(d, planes.channels[1] + i);
    const V b = asFloats(d, planes.channels[2] + i);
    const V fy = hn::Add(hn::Mul(l, hn::Set(d, 1.0F / (2.55F * 116.0F))), hn::Set(d, k16Over116));
    const V fx = hn::Add(fy, hn::Mul(hn::Sub(a, hn::Set(d, 128.0F)), hn::Set(d, 1.0F / 500.0F)));
    const V fz = hn::Sub(fy, hn::Mul(hn::Sub(b, hn::Set(d, 128.0F)), hn::Set(d, 1.0F / 200.0F)));
    const V x = unroot(d, fx);
    const V y = unroot(d, fy);
    const V z = unroot(d, fz);
    for (std::size_t c = 0; c < 3; ++c) {
      hn::Store(stepBits(d, row(d, decoding.matrix + 3 * c, x, y, z)), di, bits[c] + i);
    }
  }
  alignas(64) std::int32_t entries[kLabBlock];
  for (std::size_t c = 0; c < 3; ++c) {
    const std::size_t whole = (count + hn::Lanes(d) - 1) / hn::Lanes(d) * hn::Lanes(d);
    decoding.steps[c]->lookUp(bits[c], entries, whole);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
      const auto place =
          hn::And(hn::Load(di, bits[c] + i), hn::Set(di, (1 << LevelSteps::kBucketBits) - 1));
      const auto sum = hn::Add(hn::Load(di, entries + i), place);
      storeLevels(hn::ShiftRight<LevelSteps::kBucketBits>(sum), planes.channels[c] + i);
    }
  }
  planes.store(rgb, count);
}

}  // namespace
}  // namespace kelvo::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kelvo {

HWY_EXPORT(EncodeLightness);
HWY_EXPORT(Encode);
HWY_EXPORT(Decode);

void encodeLightness(const float* y, std::uint8_t* levels, std::size_t count) {
  HWY_DYNAMIC_DISPATCH(EncodeLightness)(y, levels, count);
}

void encodeLab(const LabEncoding& encoding, const std::uint8_t* rgb, std::uint8_t* lab,
               std::size_t count) {
  HWY_DYNAMIC_DISPATCH(Encode)(encoding, rgb, lab, count);
}

void decodeLab(const std::uint8_t* lab, const LabDecoding& decoding, std::uint8_t* rgb,
               std::size_t count) {
  HWY_DYNAMIC_DISPATCH(Decode)(lab, decoding, rgb, count);
}

void LevelSteps::lookUp(const std::int32_t* bits, std::int32_t* entries, std::size_t count) const {
  static_assert(kBucketBits == 16);
  const auto* const from = entries_.data();
  constexpr std::int32_t kFirst = kFirstBits >> kBucketBits;
#pragma GCC unroll 8
  for (std::size_t i = 0; i < count; ++i) entries[i] = from[(bits[i] >> kBucketBits) - kFirst];
}

LevelSteps::LevelSteps(const std::array<double, 256>& thresholds) {
  std::uint32_t level = 0;
  const auto next = [&] { return level < 255 ? static_cast<float>(thresholds[level + 1]) : 2.0F; };
  for (std::uint32_t bucket = 0; bucket < entries_.size(); ++bucket) {
    const std::uint32_t first = kFirstBits + (bucket << kBucketBits);
    while (next() <= std::bit_cast<float>(first)) ++level;
    const std::uint32_t end = first + (1U << kBucketBits);
    const auto begins = std::bit_cast<std::uint32_t>(next());
    entries_[bucket] =
        static_cast<std::int32_t>((level << kBucketBits) + (begins < end ? end - begins : 0));
  }
}

}  // namespace kelvo
#endif
