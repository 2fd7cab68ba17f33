// Estimates of functions in single precision, once per target; see estimates.h. Targets may differ
// in them: whatever an estimate does not settle beyond doubt is computed again.
#if defined(KELVO_VECTOR_ESTIMATES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVO_VECTOR_ESTIMATES_INL_H_
#undef KELVO_VECTOR_ESTIMATES_INL_H_
#else
#define KELVO_VECTOR_ESTIMATES_INL_H_
#endif

#include <limits>

#include "platform/kernel_language/estimates.h"
#include "platform/kernel_language/vector_lanes-inl.h"

#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

// A block's sines and cosines as kSinCosEstimateError and kEstimatedAngle promise.
HWY_NOINLINE void sinCosEstimateCall(float* HWY_RESTRICT sine, float* HWY_RESTRICT cosine,
                                     const float* HWY_RESTRICT a) {
  const D d;
  const DI di;
  const V rounder = hn::Set(d, 0x1.8p23F);  // the sum's low bits hold the nearest whole number
  const V notANumber = hn::Set(d, std::numeric_limits<float>::quiet_NaN());
  const VI one = hn::Set(di, 1);
  const VI signBit = hn::Set(di, std::numeric_limits<std::int32_t>::min());
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const V x = hn::Load(d, a + i);
    const V shifted = hn::MulAdd(x, hn::Set(d, 0x1.45f306p-1F), rounder);
    const V n = hn::Sub(shifted, rounder);
    // pi/2 in two parts; the first has 18 bits, so that its product with n is exact.
    V r = hn::NegMulAdd(n, hn::Set(d, 0x1.921f8p+0F), x);
    r = hn::NegMulAdd(n, hn::Set(d, 0x1.aa2216p-19F), r);
    r = hn::IfThenElse(hn::Lt(hn::Set(d, kEstimatedAngle), hn::Abs(x)), notANumber, r);
    const V z = hn::Mul(r, r);
    // Coefficients: math_coefficients.py.
    V sineTail =
        hn::MulAdd(z, hn::Set(d, -0.0001958763909873762F), hn::Set(d, 0.00833274710466453F));
    sineTail = hn::MulAdd(z, sineTail, hn::Set(d, -0.16666664656312208F));
    V cosineTail =
        hn::MulAdd(z, hn::Set(d, -0.0013660940995998123F), hn::Set(d, 0.041661400108597035F));
    cosineTail = hn::MulAdd(z, cosineTail, hn::Set(d, -0.49999981940647775F));
    const V s = hn::MulAdd(hn::Mul(r, z), sineTail, r);
    const V c = hn::MulAdd(z, cosineTail, hn::Set(d, 1.0F));
    // Odd quadrants exchange the two, the third and fourth change the sine's sign, the second and
    // third the cosine's.
    const VI quadrant = hn::BitCast(di, shifted);
    const auto isOdd = hn::MaskFromVec(hn::BitCast(d, hn::Neg(hn::And(quadrant, one))));
    const VI sineSign = hn::And(hn::ShiftLeft<30>(quadrant), signBit);
    const VI cosineSign = hn::And(hn::ShiftLeft<30>(hn::Add(quadrant, one)), signBit);
    hn::Store(hn::Xor(hn::IfThenElse(isOdd, c, s), hn::BitCast(d, sineSign)), d, sine + i);
    hn::Store(hn::Xor(hn::IfThenElse(isOdd, s, c), hn::BitCast(d, cosineSign)), d, cosine + i);
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif  // HWY_SCALAR

#endif
