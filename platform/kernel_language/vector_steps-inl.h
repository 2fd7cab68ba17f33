// The accumulator's steps, once per target. See tape.h.
#if defined(KELVO_VECTOR_STEPS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVO_VECTOR_STEPS_INL_H_
#undef KELVO_VECTOR_STEPS_INL_H_
#else
#define KELVO_VECTOR_STEPS_INL_H_
#endif

#include "platform/kernel_language/vector_estimates-inl.h"
#include "platform/kernel_language/vector_lanes-inl.h"
#include "platform/kernel_language/vector_pixels-inl.h"

#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

// Eight named vectors rather than an array: they stay in processor registers.
struct Accumulator {
  V v0, v1, v2, v3, v4, v5, v6, v7;
};

// Runs a statement for each vector `v` of the accumulator and its place `i` in the block.
#define KELVO_EACH(STATEMENT)                             \
  {                                                       \
    const auto each = [&](V& v, std::size_t i) HWY_ATTR { \
      (void)i;                                            \
      STATEMENT;                                          \
    };                                                    \
    each(acc.v0, 0 * kLanes);                             \
    each(acc.v1, 1 * kLanes);                             \
    each(acc.v2, 2 * kLanes);                             \
    each(acc.v3, 3 * kLanes);                             \
    each(acc.v4, 4 * kLanes);                             \
    each(acc.v5, 5 * kLanes);                             \
    each(acc.v6, 6 * kLanes);                             \
    each(acc.v7, 7 * kLanes);                             \
  }

struct AddLanes {
  HWY_INLINE V operator()(V a, V b) const { return hn::Add(a, b); }
};
struct SubLanes {
  HWY_INLINE V operator()(V a, V b) const { return hn::Sub(a, b); }
};
struct MulLanes {
  HWY_INLINE V operator()(V a, V b) const { return hn::Mul(a, b); }
};
struct DivLanes {
  HWY_INLINE V operator()(V a, V b) const { return hn::Div(a, b); }
};
struct MinLanes {
  HWY_INLINE V operator()(V a, V b) const { return lesser(b, a); }
};
struct MaxLanes {
  HWY_INLINE V operator()(V a, V b) const { return greater(b, a); }
};
struct LessLanes {
  HWY_INLINE V operator()(V a, V b) const { return storedMask(hn::Lt(a, b)); }
};
struct LessEqualLanes {
  HWY_INLINE V operator()(V a, V b) const { return storedMask(hn::Le(a, b)); }
};
struct EqualLanes {
  HWY_INLINE V operator()(V a, V b) const { return storedMask(hn::Eq(a, b)); }
};
struct NotEqualLanes {
  HWY_INLINE V operator()(
      V a, V b) const {  // The library's Ne is false for what is not a number on some targets.
    return storedMask(hn::Not(hn::Eq(a, b)));
  }
};
struct AndLanes {
  HWY_INLINE V operator()(V a, V b) const { return hn::And(a, b); }
};
struct OrLanes {
  HWY_INLINE V operator()(V a, V b) const { return hn::Or(a, b); }
};
struct XorLanes {
  HWY_INLINE V operator()(V a, V b) const { return hn::Xor(a, b); }
};

HWY_INLINE V signOf(V v) {
  const D d;
  const V one = hn::Set(d, 1.0F);
  const V zero = hn::Zero(d);
  const V positive = hn::IfThenElseZero(hn::Lt(zero, v), one);
  return hn::IfThenElse(hn::Lt(v, zero), hn::Neg(one), positive);
}

template <class F>
HWY_INLINE void stepAM(Accumulator& acc, const float* HWY_RESTRICT m) {
  KELVO_EACH(v = F()(v, hn::Load(D(), m + i)));
}
template <class F>
HWY_INLINE void stepMA(Accumulator& acc, const float* HWY_RESTRICT m) {
  KELVO_EACH(v = F()(hn::Load(D(), m + i), v));
}
template <class F>
HWY_INLINE void stepAK(Accumulator& acc, float constant) {
  const V k = hn::Set(D(), constant);
  KELVO_EACH(v = F()(v, k));
}
template <class F>
HWY_INLINE void stepKA(Accumulator& acc, float constant) {
  const V k = hn::Set(D(), constant);
  KELVO_EACH(v = F()(k, v));
}
template <class F>
HWY_INLINE void stepMM(Accumulator& acc, const float* HWY_RESTRICT m, const float* HWY_RESTRICT n) {
  KELVO_EACH(v = F()(hn::Load(D(), m + i), hn::Load(D(), n + i)));
}
template <class F>
HWY_INLINE void stepMK(Accumulator& acc, const float* HWY_RESTRICT m, float constant) {
  const V k = hn::Set(D(), constant);
  KELVO_EACH(v = F()(hn::Load(D(), m + i), k));
}
template <class F>
HWY_INLINE void stepKM(Accumulator& acc, const float* HWY_RESTRICT m, float constant) {
  const V k = hn::Set(D(), constant);
  KELVO_EACH(v = F()(k, hn::Load(D(), m + i)));
}

HWY_INLINE V weightedLanes(const float* a, const float* b, const float* c, V k0, V k1, V k2) {
  const D d;
  const V pair = hn::Add(hn::Mul(hn::Load(d, a), k0), hn::Mul(hn::Load(d, b), k1));
  return hn::Add(pair, hn::Mul(hn::Load(d, c), k2));
}

// The accumulator's values, 0 … 1 or saturating, as bytes.
HWY_INLINE void renderLanes(const Accumulator& acc, std::uint8_t* HWY_RESTRICT to) {
  storeLevels(levelOf<std::uint8_t>(acc.v0), levelOf<std::uint8_t>(acc.v1),
              levelOf<std::uint8_t>(acc.v2), levelOf<std::uint8_t>(acc.v3), to);
  storeLevels(levelOf<std::uint8_t>(acc.v4), levelOf<std::uint8_t>(acc.v5),
              levelOf<std::uint8_t>(acc.v6), levelOf<std::uint8_t>(acc.v7), to + 4 * kLanes);
}

#define KELVO_CASE_AM(name, F) \
  case Code::name##AM:         \
    stepAM<F>(acc, m(0));      \
    break;
#define KELVO_CASE_MA(name, F) \
  case Code::name##MA:         \
    stepMA<F>(acc, m(0));      \
    break;
#define KELVO_CASE_AK(name, F)  \
  case Code::name##AK:          \
    stepAK<F>(acc, step->k[0]); \
    break;
#define KELVO_CASE_KA(name, F)  \
  case Code::name##KA:          \
    stepKA<F>(acc, step->k[0]); \
    break;
#define KELVO_CASE_MM(name, F)  \
  case Code::name##MM:          \
    stepMM<F>(acc, m(0), m(1)); \
    break;
#define KELVO_CASE_MK(name, F)        \
  case Code::name##MK:                \
    stepMK<F>(acc, m(0), step->k[0]); \
    break;
#define KELVO_CASE_KM(name, F)        \
  case Code::name##KM:                \
    stepKM<F>(acc, m(0), step->k[0]); \
    break;
#define KELVO_CASES_COMMUTATIVE(name, F) \
  KELVO_CASE_AM(name, F) KELVO_CASE_AK(name, F) KELVO_CASE_MM(name, F) KELVO_CASE_MK(name, F)
#define KELVO_CASES_ALL(name, F)   \
  KELVO_CASES_COMMUTATIVE(name, F) \
  KELVO_CASE_MA(name, F) KELVO_CASE_KA(name, F) KELVO_CASE_KM(name, F)

// Runs accumulator steps from `step` on and returns the first that is not one. Contains no calls,
// so that the accumulator never leaves the processor's registers.
HWY_NOINLINE const Step* runSteps(const Step* HWY_RESTRICT step, float* HWY_RESTRICT registers,
                                  std::uint8_t* HWY_RESTRICT planes) {
  const D d;
  const V one = hn::Set(d, 1.0F);
  const V zero = hn::Zero(d);
  Accumulator acc{zero, zero, zero, zero, zero, zero, zero, zero};
  for (;; ++step) {
    const auto m = [&](std::size_t operand)
                       HWY_ATTR { return registerAt(registers, step->m[operand]); };
    const auto k = [&](std::size_t constant) HWY_ATTR { return hn::Set(d, step->k[constant]); };
    if (step->code > Code::end) __builtin_unreachable();  // spares a comparison
    switch (step->code) {
      case Code::loadM: {
        const float* HWY_RESTRICT from = m(0);
        KELVO_EACH(v = hn::Load(D(), from + i));
        break;
      }
      case Code::loadK: {
        const V k0 = k(0);
        KELVO_EACH(v = k0);
        break;
      }
      case Code::neg:
        KELVO_EACH(v = hn::Neg(v));
        break;
      case Code::abs:
        KELVO_EACH(v = hn::Abs(v));
        break;
      case Code::sign:
        KELVO_EACH(v = signOf(v));
        break;
      case Code::floor:
        KELVO_EACH(v = floorOf(v));
        break;
      case Code::ceil:
        KELVO_EACH(v = ceilOf(v));
        break;
      case Code::fract:
        KELVO_EACH(v = hn::Sub(v, floorOf(v)));
        break;
      case Code::sqrt:
        KELVO_EACH(v = hn::Sqrt(v));
        break;
      case Code::square:
        KELVO_EACH(v = hn::Mul(v, v));
        break;
      case Code::cosEstimate: {
        const V k0 = k(0);
        KELVO_EACH(v = cosEstimateOf(hn::Add(v, k0)));
        break;
      }
      case Code::maskNot:
        KELVO_EACH(v = hn::Not(v));
        break;
        // clang-format off
      KELVO_CASES_COMMUTATIVE(add, AddLanes)
      KELVO_CASE_AM(sub, SubLanes) KELVO_CASE_MA(sub, SubLanes) KELVO_CASE_KA(sub, SubLanes)
      KELVO_CASE_MM(sub, SubLanes) KELVO_CASE_KM(sub, SubLanes)
      KELVO_CASES_COMMUTATIVE(mul, MulLanes)
      KELVO_CASES_ALL(div, DivLanes)
      KELVO_CASES_ALL(min, MinLanes)
      KELVO_CASES_ALL(max, MaxLanes)
      KELVO_CASES_ALL(less, LessLanes)
      KELVO_CASES_ALL(lessEqual, LessEqualLanes)
      KELVO_CASES_COMMUTATIVE(equal, EqualLanes)
      KELVO_CASES_COMMUTATIVE(notEqual, NotEqualLanes)
      KELVO_CASE_AM(maskAnd, AndLanes) KELVO_CASE_MM(maskAnd, AndLanes)
      KELVO_CASE_AM(maskOr, OrLanes) KELVO_CASE_MM(maskOr, OrLanes)
      KELVO_CASE_AM(maskXor, XorLanes) KELVO_CASE_MM(maskXor, XorLanes)
            // clang-format on
            case Code::selectAMM : {
          const float* HWY_RESTRICT a = m(0);
          const float* HWY_RESTRICT b = m(1);
          KELVO_EACH(v = hn::IfVecThenElse(v, hn::Load(D(), a + i), hn::Load(D(), b + i)));
          break;
        }
      case Code::selectAMK: {
        const float* HWY_RESTRICT a = m(0);
        const V k0 = k(0);
        KELVO_EACH(v = hn::IfVecThenElse(v, hn::Load(D(), a + i), k0));
        break;
      }
      case Code::selectAKM: {
        const float* HWY_RESTRICT b = m(0);
        const V k0 = k(0);
        KELVO_EACH(v = hn::IfVecThenElse(v, k0, hn::Load(D(), b + i)));
        break;
      }
      case Code::selectAKK: {
        const V k0 = k(0);
        const V k1 = k(1);
        KELVO_EACH(v = hn::IfVecThenElse(v, k0, k1));
        break;
      }
      case Code::selectMAM: {
        const float* HWY_RESTRICT mask = m(0);
        const float* HWY_RESTRICT b = m(1);
        KELVO_EACH(v = hn::IfVecThenElse(hn::Load(D(), mask + i), v, hn::Load(D(), b + i)));
        break;
      }
      case Code::selectMAK: {
        const float* HWY_RESTRICT mask = m(0);
        const V k0 = k(0);
        KELVO_EACH(v = hn::IfVecThenElse(hn::Load(D(), mask + i), v, k0));
        break;
      }
      case Code::selectMMA: {
        const float* HWY_RESTRICT mask = m(0);
        const float* HWY_RESTRICT a = m(1);
        KELVO_EACH(v = hn::IfVecThenElse(hn::Load(D(), mask + i), hn::Load(D(), a + i), v));
        break;
      }
      case Code::selectMKA: {
        const float* HWY_RESTRICT mask = m(0);
        const V k0 = k(0);
        KELVO_EACH(v = hn::IfVecThenElse(hn::Load(D(), mask + i), k0, v));
        break;
      }
      case Code::selectMKK: {
        const float* HWY_RESTRICT mask = m(0);
        const V k0 = k(0);
        const V k1 = k(1);
        KELVO_EACH(v = hn::IfVecThenElse(hn::Load(D(), mask + i), k0, k1));
        break;
      }
      case Code::addProductMK: {
        const float* HWY_RESTRICT a = m(0);
        const V k0 = k(0);
        KELVO_EACH(v = hn::Add(v, hn::Mul(hn::Load(D(), a + i), k0)));
        break;
      }
      case Code::addProductMM: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        KELVO_EACH(v = hn::Add(v, hn::Mul(hn::Load(D(), a + i), hn::Load(D(), b + i))));
        break;
      }
      case Code::subProductMM: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        KELVO_EACH(v = hn::Sub(v, hn::Mul(hn::Load(D(), a + i), hn::Load(D(), b + i))));
        break;
      }
      case Code::productAdd: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        const V k0 = k(0);
        KELVO_EACH(v = hn::Add(hn::Mul(hn::Load(D(), a + i), hn::Load(D(), b + i)), k0));
        break;
      }
      case Code::scaleAddM: {
        const float* HWY_RESTRICT a = m(0);
        const V k0 = k(0);
        KELVO_EACH(v = hn::Add(hn::Mul(v, k0), hn::Load(D(), a + i)));
        break;
      }
      case Code::scaleAddK: {
        const V k0 = k(0);
        const V k1 = k(1);
        KELVO_EACH(v = hn::Add(hn::Mul(v, k0), k1));
        break;
      }
      case Code::addScale: {
        const V k0 = k(0);
        const V k1 = k(1);
        KELVO_EACH(v = hn::Mul(hn::Add(v, k0), k1));
        break;
      }
      case Code::addAdd: {
        const V k0 = k(0);
        const V k1 = k(1);
        KELVO_EACH(v = hn::Add(hn::Add(v, k0), k1));
        break;
      }
      case Code::addScaleAdd: {
        const V k0 = k(0);
        const V k1 = k(1);
        const V k2 = k(2);
        KELVO_EACH(v = hn::Add(hn::Mul(hn::Add(v, k0), k1), k2));
        break;
      }
      case Code::addAddScaleAdd: {
        const V k0 = k(0);
        const V k1 = k(1);
        const V k2 = k(2);
        const V k3 = k(3);
        KELVO_EACH(v = hn::Add(hn::Mul(hn::Add(hn::Add(v, k0), k1), k2), k3));
        break;
      }
      case Code::subScaleAdd: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        const float* HWY_RESTRICT c = m(2);
        const V k0 = k(0);
        KELVO_EACH(v = hn::Add(hn::Mul(hn::Sub(hn::Load(D(), a + i), hn::Load(D(), b + i)), k0),
                               hn::Load(D(), c + i)));
        break;
      }
      case Code::scaleFrom: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        const V k0 = k(0);
        KELVO_EACH(const V from = hn::Load(D(), b + i);
                   v = hn::Add(hn::Mul(hn::Sub(hn::Load(D(), a + i), from), k0), from));
        break;
      }
      case Code::leastOfThree: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        const float* HWY_RESTRICT c = m(2);
        KELVO_EACH(v = MinLanes()(hn::Load(D(), c + i),
                                  MinLanes()(hn::Load(D(), a + i), hn::Load(D(), b + i))));
        break;
      }
      case Code::mostOfThree: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        const float* HWY_RESTRICT c = m(2);
        KELVO_EACH(v = MaxLanes()(hn::Load(D(), c + i),
                                  MaxLanes()(hn::Load(D(), a + i), hn::Load(D(), b + i))));
        break;
      }
      case Code::weightedPair: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        const V k0 = k(0);
        const V k1 = k(1);
        KELVO_EACH(
            v = hn::Add(hn::Mul(hn::Load(D(), a + i), k0), hn::Mul(hn::Load(D(), b + i), k1)));
        break;
      }
      case Code::weightedSum: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        const float* HWY_RESTRICT c = m(2);
        const V k0 = k(0);
        const V k1 = k(1);
        const V k2 = k(2);
        KELVO_EACH(v = weightedLanes(a + i, b + i, c + i, k0, k1, k2));
        break;
      }
      case Code::weightedSumAdd: {
        const float* HWY_RESTRICT a = m(0);
        const float* HWY_RESTRICT b = m(1);
        const float* HWY_RESTRICT c = m(2);
        const V k0 = k(0);
        const V k1 = k(1);
        const V k2 = k(2);
        const V k3 = k(3);
        KELVO_EACH(v = hn::Add(weightedLanes(a + i, b + i, c + i, k0, k1, k2), k3));
        break;
      }
      case Code::render:
        KELVO_EACH(v = limitedLanes(v, one));
        renderLanes(acc, planes + step->index * kBlock);
        break;
      case Code::renderSmall:
        // Saturation limits them, and turns what is not a number into 0.
        KELVO_EACH(v = KELVO_X86_VECTORS ? v : limitedLanes(v, one));
        renderLanes(acc, planes + step->index * kBlock);
        break;
      case Code::skipSettled: {
        const V k0 = k(0);
        const V k1 = k(1);
        const auto isFar = [&](V v) HWY_ATTR { return hn::Lt(k1, hn::Abs(hn::Sub(v, k0))); };
        const auto isSettled = hn::And(
            hn::And(hn::And(isFar(acc.v0), isFar(acc.v1)), hn::And(isFar(acc.v2), isFar(acc.v3))),
            hn::And(hn::And(isFar(acc.v4), isFar(acc.v5)), hn::And(isFar(acc.v6), isFar(acc.v7))));
        if (hn::AllTrue(d, isSettled)) step += step->index;
        continue;
      }
      case Code::skipIfAny: {
        const float* HWY_RESTRICT mask = m(0);
        const auto lanes = [&](std::size_t vector)
                               HWY_ATTR { return hn::Load(D(), mask + vector * kLanes); };
        const V any = hn::Or(hn::Or(hn::Or(lanes(0), lanes(1)), hn::Or(lanes(2), lanes(3))),
                             hn::Or(hn::Or(lanes(4), lanes(5)), hn::Or(lanes(6), lanes(7))));
        if (!hn::AllFalse(d, hn::MaskFromVec(any))) step += step->index;
        continue;
      }
      case Code::call:
      case Code::sinCos:
      case Code::powOfFraction:
      case Code::sample:
      case Code::destX:
      case Code::destY:
      case Code::end:
        return step;
    }
    if (step->target[0] != kNoRegister) {
      float* HWY_RESTRICT to = registerAt(registers, step->target[0]);
      KELVO_EACH(hn::Store(v, D(), to + i));
    }
  }
}

#undef KELVO_CASES_ALL
#undef KELVO_CASES_COMMUTATIVE
#undef KELVO_CASE_KM
#undef KELVO_CASE_MK
#undef KELVO_CASE_MM
#undef KELVO_CASE_KA
#undef KELVO_CASE_AK
#undef KELVO_CASE_MA
#undef KELVO_CASE_AM
#undef KELVO_EACH

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif  // HWY_SCALAR

#endif
