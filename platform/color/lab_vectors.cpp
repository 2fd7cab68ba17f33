#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/color/lab_vectors.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

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

// A first guess from the exponent (dividing the bits of a float by three), then Halley's iteration
// x (x^3 + 2 t) / (2 x^3 + t), which triples the correct digits each time.
V cubeRoot(D d, V t) {
  const hn::RebindToUnsigned<D> du;
  const auto bits = hn::BitCast(du, t);
  // bits / 3 through floats: the guess need not be exact.
  const hn::RebindToSigned<D> di;
  const auto third =
      hn::ConvertTo(di, hn::Mul(hn::ConvertTo(d, hn::BitCast(di, bits)), hn::Set(d, 1.0F / 3.0F)));
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

// Limited to 0…255, to the nearest whole number.
hn::Vec<hn::Rebind<std::uint8_t, D>> toLevel(D d, V v) {
  const hn::RebindToSigned<D> di;
  const hn::Rebind<std::uint8_t, D> d8;
  const V limited = hn::Min(hn::Max(v, hn::Zero(d)), hn::Set(d, 255.0F));
  return hn::DemoteTo(d8, hn::ConvertTo(di, hn::Add(limited, hn::Set(d, 0.5F))));
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
  const hn::Rebind<std::uint8_t, D> d8;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    hn::StoreU(toLevel(d, lightness(d, root(d, hn::LoadU(d, y + i)))), d8, levels + i);
  }
}

void Encode(const float* xyz, std::uint8_t* lab, std::size_t count) {
  const D d;
  const hn::Rebind<std::uint8_t, D> d8;
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
    hn::StoreU(toLevel(d, lightness(d, y)), d8, planes.channels[0] + i);
    hn::StoreU(toLevel(d, a), d8, planes.channels[1] + i);
    hn::StoreU(toLevel(d, b), d8, planes.channels[2] + i);
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

hn::Vec<hn::Rebind<std::uint8_t, D>> levelOf(D d, const LevelSteps& steps, V linear) {
  const hn::RebindToSigned<D> di;
  const hn::Rebind<std::uint8_t, D> d8;
  const V limited =
      hn::Min(hn::Max(linear, hn::BitCast(d, hn::Set(di, LevelSteps::kFirstBits))), hn::Set(d, 1));
  const auto bits = hn::BitCast(di, limited);
  const auto bucket =
      hn::ShiftRight<LevelSteps::kBucketBits>(hn::Sub(bits, hn::Set(di, LevelSteps::kFirstBits)));
  const auto place = hn::And(bits, hn::Set(di, (1 << LevelSteps::kBucketBits) - 1));
  const auto entry = hn::GatherIndex(di, steps.entries(), bucket);
  return hn::DemoteTo(d8, hn::ShiftRight<LevelSteps::kBucketBits>(hn::Add(entry, place)));
}

void Decode(const std::uint8_t* lab, const LabDecoding& decoding, std::uint8_t* rgb,
            std::size_t count) {
  const D d;
  const hn::Rebind<std::uint8_t, D> d8;
  Planes planes;
  planes.load(lab, count);
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
      const V linear = row(d, decoding.matrix + 3 * c, x, y, z);
      hn::StoreU(levelOf(d, *decoding.steps[c], linear), d8, planes.channels[c] + i);
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

void encodeLab(const float* xyz, std::uint8_t* lab, std::size_t count) {
  HWY_DYNAMIC_DISPATCH(Encode)(xyz, lab, count);
}

void decodeLab(const std::uint8_t* lab, const LabDecoding& decoding, std::uint8_t* rgb,
               std::size_t count) {
  HWY_DYNAMIC_DISPATCH(Decode)(lab, decoding, rgb, count);
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
