// From interleaved samples to block registers and back, once per target.
#if defined(KELVO_VECTOR_PIXELS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVO_VECTOR_PIXELS_INL_H_
#undef KELVO_VECTOR_PIXELS_INL_H_
#else
#define KELVO_VECTOR_PIXELS_INL_H_
#endif

#include <array>
#include <cmath>
#include <cstring>

#include "platform/kernel_language/vector_bytes-inl.h"
#include "platform/kernel_language/vector_lanes-inl.h"
#include "platform/pixels/pixel_layout.h"

#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

// A block's samples, component by component.
template <typename Sample>
using Planes = std::array<std::array<Sample, kBlock>, 4>;

template <typename Sample>
HWY_INLINE void splitPixels(const Sample* HWY_RESTRICT pixels, std::size_t components,
                            Planes<Sample>& planes) {
  const hn::ScalableTag<Sample> d;
  using Samples = hn::Vec<decltype(d)>;
  constexpr std::size_t kStep = hn::MaxLanes(hn::ScalableTag<Sample>());
  if (components == 3) {
    for (std::size_t i = 0; i < kBlock; i += kStep) {
      Samples a, b, c;
      hn::LoadInterleaved3(d, pixels + 3 * i, a, b, c);
      hn::Store(a, d, planes[0].data() + i);
      hn::Store(b, d, planes[1].data() + i);
      hn::Store(c, d, planes[2].data() + i);
    }
  } else if (components == 4) {
    for (std::size_t i = 0; i < kBlock; i += kStep) {
      Samples a, b, c, e;
      hn::LoadInterleaved4(d, pixels + 4 * i, a, b, c, e);
      hn::Store(a, d, planes[0].data() + i);
      hn::Store(b, d, planes[1].data() + i);
      hn::Store(c, d, planes[2].data() + i);
      hn::Store(e, d, planes[3].data() + i);
    }
  } else {
    for (std::size_t i = 0; i < kBlock; ++i) {
      for (std::size_t c = 0; c < components && c < 4; ++c) {
        planes[c][i] = pixels[i * components + c];
      }
    }
  }
}

template <typename Sample>
HWY_INLINE void joinPixels(const Planes<Sample>& planes, std::size_t components,
                           Sample* HWY_RESTRICT pixels) {
  const hn::ScalableTag<Sample> d;
  constexpr std::size_t kStep = hn::MaxLanes(hn::ScalableTag<Sample>());
  const auto plane = [&](std::size_t c, std::size_t i)
                         HWY_ATTR { return hn::Load(d, planes[c].data() + i); };
  if (components == 3) {
    for (std::size_t i = 0; i < kBlock; i += kStep) {
      hn::StoreInterleaved3(plane(0, i), plane(1, i), plane(2, i), d, pixels + 3 * i);
    }
  } else {
    for (std::size_t i = 0; i < kBlock; i += kStep) {
      hn::StoreInterleaved4(plane(0, i), plane(1, i), plane(2, i), plane(3, i), d, pixels + 4 * i);
    }
  }
}

// sample / maximum, correctly rounded, without a division: 1/maximum = 2^-8 + rest (2^-16 for 16
// bits). The first product is exact, and the second's rounding error is too small to matter for
// any of the levels; a test goes through all of them.
template <typename Sample>
struct Levels;
template <>
struct Levels<std::uint8_t> {
  static constexpr float kMaximum = 255.0F;
  static constexpr float kUnit = 0x1p-8F;
  static constexpr float kRest = static_cast<float>(1.0 / 255.0 - 0x1p-8);
};
template <>
struct Levels<std::uint16_t> {
  static constexpr float kMaximum = 65535.0F;
  static constexpr float kUnit = 0x1p-16F;
  static constexpr float kRest = static_cast<float>(1.0 / 65535.0 - 0x1p-16);
};

template <typename Sample>
HWY_INLINE V fractionOf(VI levels) {
  const D d;
  const V level = hn::ConvertTo(d, levels);
  const V rest = hn::Mul(level, hn::Set(d, Levels<Sample>::kRest));
  // The product with a power of two is exact: joined with the sum or not, the result is the same.
  return hn::MulAdd(level, hn::Set(d, Levels<Sample>::kUnit), rest);
}

template <typename Sample>
HWY_INLINE void convertPlane(const Sample* HWY_RESTRICT from, float* HWY_RESTRICT to) {
  const hn::Rebind<Sample, D> narrow;
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const VI levels = hn::PromoteTo(DI(), hn::Load(narrow, from + i));
    hn::Store(fractionOf<Sample>(levels), D(), to + i);
  }
}

template <typename Sample>
HWY_INLINE void loadPixelsOf(const std::byte* pixels, std::size_t components,
                             const std::array<float*, 4>& to) {
  HWY_ALIGN Planes<Sample> planes;
  splitPixels(reinterpret_cast<const Sample*>(pixels), components, planes);
  for (std::size_t c = 0; c < 4; ++c) {
    if (to[c] == nullptr) continue;
    if constexpr (std::is_same_v<Sample, float>) {
      std::memcpy(to[c], planes[c].data(), kBlock * sizeof(float));
    } else {
      convertPlane(planes[c].data(), to[c]);
    }
  }
}

#if KELVO_X86_VECTORS
HWY_INLINE void loadBytes(const std::uint8_t* HWY_RESTRICT pixels, std::size_t components,
                          const std::array<float*, 4>& to) {
  const auto store = [&to](std::size_t component, std::size_t at, VI levels) HWY_ATTR {
    if (to[component] == nullptr) return;
    hn::Store(fractionOf<std::uint8_t>(levels), D(), to[component] + at);
  };
  components == 3 ? forLevelsOfThree(pixels, store) : forLevelsOfFour(pixels, store);
}
#endif

// Reads a whole block. Components that nobody needs are null.
HWY_NOINLINE void loadPixels(const PixelLayout& layout, const std::byte* pixels,
                             const std::array<float*, 4>& to) {
  switch (layout.type) {
    case SampleType::u8:
#if KELVO_X86_VECTORS
      if (layout.components == 3 || layout.components == 4) {
        return loadBytes(reinterpret_cast<const std::uint8_t*>(pixels), layout.components, to);
      }
#endif
      return loadPixelsOf<std::uint8_t>(pixels, layout.components, to);
    case SampleType::u16:
      return loadPixelsOf<std::uint16_t>(pixels, layout.components, to);
    case SampleType::f32:
      return loadPixelsOf<float>(pixels, layout.components, to);
  }
}

// Packs four vectors of levels, not above 255, into bytes; those below 0 become 0.
HWY_INLINE void storeLevels(VI a, VI b, VI c, VI e, std::uint8_t* HWY_RESTRICT to) {
#if KELVO_X86_VECTORS && HWY_TARGET <= HWY_AVX3
  const __m512i bytes =
      _mm512_packus_epi16(_mm512_packs_epi32(a.raw, b.raw), _mm512_packs_epi32(c.raw, e.raw));
  const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  _mm512_store_si512(to, _mm512_permutexvar_epi32(order, bytes));
#elif KELVO_X86_VECTORS && HWY_TARGET == HWY_AVX2
  const __m256i bytes =
      _mm256_packus_epi16(_mm256_packs_epi32(a.raw, b.raw), _mm256_packs_epi32(c.raw, e.raw));
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  _mm256_store_si256(reinterpret_cast<__m256i*>(to), _mm256_permutevar8x32_epi32(bytes, order));
#elif KELVO_X86_VECTORS
  _mm_store_si128(reinterpret_cast<__m128i*>(to),
                  _mm_packus_epi16(_mm_packs_epi32(a.raw, b.raw), _mm_packs_epi32(c.raw, e.raw)));
#else
  const hn::Rebind<std::uint8_t, D> narrow;
  hn::Store(hn::DemoteTo(narrow, a), narrow, to);
  hn::Store(hn::DemoteTo(narrow, b), narrow, to + kLanes);
  hn::Store(hn::DemoteTo(narrow, c), narrow, to + 2 * kLanes);
  hn::Store(hn::DemoteTo(narrow, e), narrow, to + 3 * kLanes);
#endif
}

// Below 0 and what is not a number give 0.
HWY_INLINE V limitedLanes(V v, V maximum) { return lesser(greater(v, hn::Zero(D())), maximum); }

template <typename Sample>
HWY_INLINE VI levelOf(V limited) {
  const D d;
  return truncateSmall(
      hn::Add(hn::Mul(limited, hn::Set(d, Levels<Sample>::kMaximum)), hn::Set(d, 0.5F)));
}

HWY_INLINE void storeLevelsOf(const std::array<VI, 4>& levels, std::uint8_t* HWY_RESTRICT to) {
  storeLevels(levels[0], levels[1], levels[2], levels[3], to);
}
HWY_INLINE void storeLevelsOf(const std::array<VI, 4>& levels, std::uint16_t* HWY_RESTRICT to) {
  const hn::Rebind<std::uint16_t, D> narrow;
  for (std::size_t i = 0; i < 4; ++i) {
    hn::Store(hn::DemoteTo(narrow, levels[i]), narrow, to + i * kLanes);
  }
}

// `alpha`: the block's alpha, or null where it is 1 throughout.
template <typename Sample>
HWY_INLINE void renderPlane(const float* HWY_RESTRICT from, const float* HWY_RESTRICT alpha,
                            Sample* HWY_RESTRICT to) {
  const D d;
  const V one = hn::Set(d, 1.0F);
  for (std::size_t i = 0; i < kBlock; i += 4 * kLanes) {
    const auto level = [&](std::size_t at) HWY_ATTR {
      const V maximum = alpha == nullptr ? one : limitedLanes(hn::Load(d, alpha + at), one);
      return levelOf<Sample>(limitedLanes(hn::Load(d, from + at), maximum));
    };
    storeLevelsOf({level(i), level(i + kLanes), level(i + 2 * kLanes), level(i + 3 * kLanes)},
                  to + i);
  }
}

inline void copyPlane(const float* HWY_RESTRICT from, float* HWY_RESTRICT to) {
  const D d;
  const V notANumber = hn::Set(d, std::numeric_limits<float>::quiet_NaN());
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const V v = hn::Load(d, from + i);
    hn::Store(hn::IfThenElse(hn::Eq(v, v), v, notANumber), d, to + i);
  }
}

template <typename Sample>
HWY_INLINE void storePixelsOf(const std::array<const float*, 4>& from, bool opaque,
                              std::size_t components, std::byte* pixels) {
  HWY_ALIGN Planes<Sample> planes;
  const float* alpha = opaque ? nullptr : from[3];
  for (std::size_t c = 0; c < components; ++c) {
    if constexpr (std::is_same_v<Sample, float>) {
      copyPlane(from[c], planes[c].data());
    } else {
      renderPlane(from[c], c == 3 ? nullptr : alpha, planes[c].data());
    }
  }
  joinPixels(planes, components, reinterpret_cast<Sample*>(pixels));
}

// Writes a whole block of 3 or 4 components. `opaque`: alpha is 1 throughout.
HWY_NOINLINE void storePixels(const PixelLayout& layout, const std::array<const float*, 4>& from,
                              bool opaque, std::byte* pixels) {
  switch (layout.type) {
    case SampleType::u8:
      return storePixelsOf<std::uint8_t>(from, opaque, layout.components, pixels);
    case SampleType::u16:
      return storePixelsOf<std::uint16_t>(from, opaque, layout.components, pixels);
    case SampleType::f32:
      return storePixelsOf<float>(from, opaque, layout.components, pixels);
  }
}

// Interleaves the rendered bytes of red, green and blue, plane after plane, with an alpha of 255
// where there are four components.
HWY_NOINLINE void joinRendered(const std::uint8_t* HWY_RESTRICT planes, std::size_t components,
                               std::uint8_t* HWY_RESTRICT pixels) {
  const hn::ScalableTag<std::uint8_t> d;
  constexpr std::size_t kStep = hn::MaxLanes(hn::ScalableTag<std::uint8_t>());
  for (std::size_t i = 0; i < kBlock; i += kStep) {
    const auto r = hn::Load(d, planes + i);
    const auto g = hn::Load(d, planes + kBlock + i);
    const auto b = hn::Load(d, planes + 2 * kBlock + i);
    if (components == 3) {
      hn::StoreInterleaved3(r, g, b, d, pixels + 3 * i);
    } else {
      hn::StoreInterleaved4(r, g, b, hn::Set(d, 255), d, pixels + 4 * i);
    }
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif  // HWY_SCALAR

#endif
