#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/color/lab_vectors.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

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

void Roots(float* x, float* y, float* z, std::size_t count) {
  const D d;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    hn::StoreU(root(d, hn::LoadU(d, x + i)), d, x + i);
    hn::StoreU(root(d, hn::LoadU(d, y + i)), d, y + i);
    hn::StoreU(root(d, hn::LoadU(d, z + i)), d, z + i);
  }
}

// Limited to 0…255, to the nearest whole number.
hn::Vec<hn::Rebind<std::uint8_t, D>> toLevel(D d, V v) {
  const hn::RebindToSigned<D> di;
  const hn::Rebind<std::uint8_t, D> d8;
  const V limited = hn::Min(hn::Max(v, hn::Zero(d)), hn::Set(d, 255.0F));
  return hn::DemoteTo(d8, hn::ConvertTo(di, hn::Add(limited, hn::Set(d, 0.5F))));
}

void LightnessRoots(float* y, std::size_t count) {
  const D d;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    hn::StoreU(root(d, hn::LoadU(d, y + i)), d, y + i);
  }
}

V lightness(D d, V fy) {
  return hn::Sub(hn::Mul(fy, hn::Set(d, 116.0F * 2.55F)), hn::Set(d, 16.0F * 2.55F));
}

void EncodeLightness(const float* fy, std::uint8_t* levels, std::size_t count) {
  const D d;
  const hn::Rebind<std::uint8_t, D> d8;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    hn::StoreU(toLevel(d, lightness(d, hn::LoadU(d, fy + i))), d8, levels + i);
  }
}

void Encode(const float* fx, const float* fy, const float* fz, std::uint8_t* lab,
            std::size_t count) {
  const D d;
  const hn::Rebind<std::uint8_t, D> d8;
  const std::size_t lanes = hn::Lanes(d);
  alignas(64) std::uint8_t l8[16];
  alignas(64) std::uint8_t a8[16];
  alignas(64) std::uint8_t b8[16];
  for (std::size_t i = 0; i < count; i += lanes) {
    const V x = hn::LoadU(d, fx + i);
    const V y = hn::LoadU(d, fy + i);
    const V z = hn::LoadU(d, fz + i);
    const V l = lightness(d, y);
    const V a = hn::Add(hn::Mul(hn::Sub(x, y), hn::Set(d, 500.0F)), hn::Set(d, 128.0F));
    const V b = hn::Add(hn::Mul(hn::Sub(y, z), hn::Set(d, 200.0F)), hn::Set(d, 128.0F));
    hn::StoreU(toLevel(d, l), d8, l8);
    hn::StoreU(toLevel(d, a), d8, a8);
    hn::StoreU(toLevel(d, b), d8, b8);
    const std::size_t n = count - i < lanes ? count - i : lanes;
    for (std::size_t k = 0; k < n; ++k) {
      lab[3 * (i + k)] = l8[k];
      lab[3 * (i + k) + 1] = a8[k];
      lab[3 * (i + k) + 2] = b8[k];
    }
  }
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

void Decode(const std::uint8_t* lab, const float* m, float* r, float* g, float* b,
            std::size_t count) {
  const D d;
  const std::size_t lanes = hn::Lanes(d);
  for (std::size_t i = 0; i < count; ++i) {
    r[i] = lab[3 * i];
    g[i] = lab[3 * i + 1];
    b[i] = lab[3 * i + 2];
  }
  for (std::size_t i = 0; i < count; i += lanes) {
    const V fy = hn::Add(hn::Mul(hn::LoadU(d, r + i), hn::Set(d, 1.0F / (2.55F * 116.0F))),
                         hn::Set(d, k16Over116));
    const V fx = hn::Add(
        fy, hn::Mul(hn::Sub(hn::LoadU(d, g + i), hn::Set(d, 128.0F)), hn::Set(d, 1.0F / 500.0F)));
    const V fz = hn::Sub(
        fy, hn::Mul(hn::Sub(hn::LoadU(d, b + i), hn::Set(d, 128.0F)), hn::Set(d, 1.0F / 200.0F)));
    const V x = unroot(d, fx);
    const V y = unroot(d, fy);
    const V z = unroot(d, fz);
    hn::StoreU(row(d, m, x, y, z), d, r + i);
    hn::StoreU(row(d, m + 3, x, y, z), d, g + i);
    hn::StoreU(row(d, m + 6, x, y, z), d, b + i);
  }
}

}  // namespace
}  // namespace kelvo::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kelvo {

HWY_EXPORT(Roots);
HWY_EXPORT(LightnessRoots);
HWY_EXPORT(EncodeLightness);
HWY_EXPORT(Encode);
HWY_EXPORT(Decode);

void labRoots(float* x, float* y, float* z, std::size_t count) {
  HWY_DYNAMIC_DISPATCH(Roots)(x, y, z, count);
}

void labRoots(float* y, std::size_t count) { HWY_DYNAMIC_DISPATCH(LightnessRoots)(y, count); }

void encodeLightness(const float* fy, std::uint8_t* levels, std::size_t count) {
  HWY_DYNAMIC_DISPATCH(EncodeLightness)(fy, levels, count);
}

void encodeLab(const float* fx, const float* fy, const float* fz, std::uint8_t* lab,
               std::size_t count) {
  HWY_DYNAMIC_DISPATCH(Encode)(fx, fy, fz, lab, count);
}

void decodeLab(const std::uint8_t* lab, const float (&m)[9], float* r, float* g, float* b,
               std::size_t count) {
  HWY_DYNAMIC_DISPATCH(Decode)(lab, m, r, g, b, count);
}

}  // namespace kelvo
#endif
