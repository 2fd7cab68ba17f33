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

// As kCosEstimateError and kEstimatedAngle promise.
HWY_INLINE V cosEstimateOf(V x) {
  const D d;
  const DI di;
  const V rounder = hn::Set(d, 0x1.8p23F);  // the sum's low bits hold the nearest whole number
  const V notANumber = hn::Set(d, std::numeric_limits<float>::quiet_NaN());
  const V shifted = hn::MulAdd(x, hn::Set(d, 0x1.45f306p-2F), rounder);
  const V n = hn::Sub(shifted, rounder);
  // pi in two parts; the first has 18 bits, so that its product with n is exact.
  V r = hn::NegMulAdd(n, hn::Set(d, 0x1.921f8p+1F), x);
  r = hn::NegMulAdd(n, hn::Set(d, 0x1.aa2216p-18F), r);
  r = hn::IfThenElse(hn::Lt(hn::Set(d, kEstimatedAngle), hn::Abs(x)), notANumber, r);
  const V z = hn::Mul(r, r);
  // Coefficients: math_coefficients.py.
  V c = hn::MulAdd(z, hn::Set(d, 2.3150817322469673e-05F), hn::Set(d, -0.0013853560396408858F));
  c = hn::MulAdd(z, c, hn::Set(d, 0.04166356400834242F));
  c = hn::MulAdd(z, c, hn::Set(d, -0.4999990440077445F));
  c = hn::MulAdd(z, c, hn::Set(d, 0.9999999527943917F));
  // Odd half turns change the sign.
  return hn::Xor(c, hn::BitCast(d, hn::ShiftLeft<31>(hn::BitCast(di, shifted))));
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif  // HWY_SCALAR

#endif
