// What the vector executor's parts share, once per target: the block, the vectors, and operations
// whose results on signed zeros and what is not a number are the same everywhere.
#if defined(KELVO_VECTOR_LANES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVO_VECTOR_LANES_INL_H_
#undef KELVO_VECTOR_LANES_INL_H_
#else
#define KELVO_VECTOR_LANES_INL_H_
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <limits>

#include "platform/kernel_language/tape.h"

#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using D = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<D>;
using V = hn::Vec<D>;
using VI = hn::Vec<DI>;
constexpr std::size_t kLanes = hn::MaxLanes(D());
constexpr std::size_t kVectors = 8;
constexpr std::size_t kBlock = kVectors * kLanes;  // pixels

#undef KELVO_X86_VECTORS
#if HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128
#define KELVO_X86_VECTORS 1
#else
#define KELVO_X86_VECTORS 0
#endif

// a < b ? a : b. The processor's own minimum has this very rule on x86.
HWY_INLINE V lesser(V a, V b) {
#if KELVO_X86_VECTORS
  return hn::Min(a, b);
#else
  return hn::IfThenElse(hn::Lt(a, b), a, b);
#endif
}

// a > b ? a : b.
HWY_INLINE V greater(V a, V b) {
#if KELVO_X86_VECTORS
  return hn::Max(a, b);
#else
  return hn::IfThenElse(hn::Lt(b, a), a, b);
#endif
}

// Targets without rounding instructions lose the sign of zeros; it is the argument's.
HWY_INLINE V floorOf(V v) {
#if HWY_TARGET == HWY_SSSE3 || !KELVO_X86_VECTORS
  return hn::CopySign(hn::Floor(v), v);
#else
  return hn::Floor(v);
#endif
}

HWY_INLINE V ceilOf(V v) {
#if HWY_TARGET == HWY_SSSE3 || !KELVO_X86_VECTORS
  return hn::CopySign(hn::Ceil(v), v);
#else
  return hn::Ceil(v);
#endif
}

// Truncates numbers that are known to lie within i32, without the care for others.
HWY_INLINE VI truncateSmall(V v) {
#if KELVO_X86_VECTORS && HWY_TARGET <= HWY_AVX3
  return VI{_mm512_cvttps_epi32(v.raw)};
#elif KELVO_X86_VECTORS && HWY_TARGET == HWY_AVX2
  return VI{_mm256_cvttps_epi32(v.raw)};
#elif KELVO_X86_VECTORS
  return VI{_mm_cvttps_epi32(v.raw)};
#else
  return hn::ConvertTo(DI(), v);
#endif
}

// Masks lie in block registers as lanes of all ones or zeros.
HWY_INLINE V storedMask(hn::Mask<D> mask) { return hn::VecFromMask(D(), mask); }
HWY_INLINE hn::Mask<D> loadedMask(V v) { return hn::MaskFromVec(v); }

HWY_INLINE float* registerAt(float* HWY_RESTRICT registers, Register number) {
  return registers + number * kBlock;
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif  // HWY_SCALAR

#endif
