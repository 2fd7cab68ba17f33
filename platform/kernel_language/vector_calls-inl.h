// The steps that work on block registers instead of the accumulator, once per target: the
// transcendental functions, integers, conversions.
#if defined(KELVO_VECTOR_CALLS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVO_VECTOR_CALLS_INL_H_
#undef KELVO_VECTOR_CALLS_INL_H_
#else
#define KELVO_VECTOR_CALLS_INL_H_
#endif

#include <bit>

#include "platform/kernel_language/one_lane.h"
#include "platform/kernel_language/vector_lanes-inl.h"
#include "platform/kernel_language/vector_pairs-inl.h"

#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

#if HWY_HAVE_FLOAT64
namespace math {
namespace hn = pairs;
#define KELVO_MATH_INLINE HWY_INLINE
#include "platform/kernel_language/math-inl.h"
#undef KELVO_MATH_INLINE
}  // namespace math

using DD = hn::Repartition<double, D>;
using DHalf = hn::Half<D>;
using DoublesTag = pairs::PairTag<DD>;
using Doubles = pairs::Pair<hn::Vec<DD>>;
constexpr std::size_t kHalf = kLanes / 2;

HWY_INLINE Doubles loadDoubles(const float* from) {
  const DD dd;
  const DHalf half;
  return {hn::PromoteTo(dd, hn::Load(half, from)), hn::PromoteTo(dd, hn::Load(half, from + kHalf))};
}

HWY_INLINE void storeDoubles(const Doubles& values, float* to) {
  const DHalf half;
  hn::Store(hn::DemoteTo(half, values.first), half, to);
  hn::Store(hn::DemoteTo(half, values.second), half, to + kHalf);
}

// Widens, computes in double precision, rounds once.
#define KELVO_FUNCTION(name)                                                          \
  HWY_NOINLINE void name##Call(float* HWY_RESTRICT to, const float* HWY_RESTRICT a) { \
    for (std::size_t i = 0; i < kBlock; i += kLanes) {                                \
      storeDoubles(math::name##Lanes(DoublesTag(), loadDoubles(a + i)), to + i);      \
    }                                                                                 \
  }
#define KELVO_FUNCTION_OF_TWO(name)                                                 \
  HWY_NOINLINE void name##Call(float* HWY_RESTRICT to, const float* HWY_RESTRICT a, \
                               const float* HWY_RESTRICT b) {                       \
    for (std::size_t i = 0; i < kBlock; i += kLanes) {                              \
      const Doubles x = loadDoubles(a + i);                                         \
      storeDoubles(math::name##Lanes(DoublesTag(), x, loadDoubles(b + i)), to + i); \
    }                                                                               \
  }
KELVO_FUNCTION(exp)
KELVO_FUNCTION(exp2)
KELVO_FUNCTION(log)
KELVO_FUNCTION(log2)
KELVO_FUNCTION(sin)
KELVO_FUNCTION(cos)
KELVO_FUNCTION(tan)
KELVO_FUNCTION(asin)
KELVO_FUNCTION(acos)
KELVO_FUNCTION(atan)
KELVO_FUNCTION_OF_TWO(pow)
KELVO_FUNCTION_OF_TWO(atan2)
#undef KELVO_FUNCTION
#undef KELVO_FUNCTION_OF_TWO

// What sinCall and cosCall give, for the price of little more than one of them.
HWY_NOINLINE void sinCosCall(float* HWY_RESTRICT sine, float* HWY_RESTRICT cosine,
                             const float* HWY_RESTRICT a) {
  const DoublesTag d;
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const auto reduced = math::reduceAngle(d, loadDoubles(a + i));
    storeDoubles(math::sineOf(d, reduced), sine + i);
    storeDoubles(math::cosineOf(d, reduced), cosine + i);
  }
}

// `exponent`: no whole number, at least 1/4 in size.
HWY_NOINLINE void powOfFractionCall(float* HWY_RESTRICT to, const float* HWY_RESTRICT a,
                                    float exponent) {
  const DoublesTag d;
  const Doubles y = pairs::Set(d, static_cast<double>(exponent));
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    storeDoubles(math::powOfFraction(d, loadDoubles(a + i), y), to + i);
  }
}
#else
inline void sinCosCall(float* sine, float* cosine, const float* a) {
  for (std::size_t i = 0; i < kBlock; ++i) {
    const auto angle = std::bit_cast<std::uint32_t>(a[i]);
    sine[i] = std::bit_cast<float>(evaluateOneLane(Op::sin, angle));
    cosine[i] = std::bit_cast<float>(evaluateOneLane(Op::cos, angle));
  }
}

inline void powOfFractionCall(float* to, const float* a, float exponent) {
  for (std::size_t i = 0; i < kBlock; ++i) {
    to[i] = std::bit_cast<float>(evaluateOneLane(Op::pow, std::bit_cast<std::uint32_t>(a[i]),
                                                 std::bit_cast<std::uint32_t>(exponent)));
  }
}
#endif  // HWY_HAVE_FLOAT64

// For what has no vector form: integer division, and functions where there are no double vectors.
inline void callByLane(Op op, float* to, const float* a, const float* b) {
  for (std::size_t i = 0; i < kBlock; ++i) {
    const std::uint32_t bits =
        evaluateOneLane(op, std::bit_cast<std::uint32_t>(a[i]), std::bit_cast<std::uint32_t>(b[i]));
    to[i] = std::bit_cast<float>(bits);
  }
}

template <class F>
HWY_INLINE void forIntegers(F function, float* to, const float* a, const float* b) {
  const D d;
  const DI di;
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const VI x = hn::BitCast(di, hn::Load(d, a + i));
    const VI y = hn::BitCast(di, hn::Load(d, b + i));
    hn::Store(hn::BitCast(d, function(x, y)), d, to + i);
  }
}

template <class F>
HWY_INLINE void forFloats(F function, float* to, const float* a, const float* b) {
  const D d;
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    hn::Store(function(hn::Load(d, a + i), hn::Load(d, b + i)), d, to + i);
  }
}

HWY_INLINE V integerFromFloat(V v) {
  // Limited to the range; what is no number must not get that far.
  return hn::BitCast(D(), hn::ConvertTo(DI(), hn::IfThenElseZero(hn::Eq(v, v), v)));
}

HWY_NOINLINE void callIntegers(Op op, float* to, const float* a, const float* b, const float* c) {
  const D d;
  const DI di;
  switch (op) {
    case Op::intNeg:
      return forIntegers([](VI x, VI) HWY_ATTR { return hn::Neg(x); }, to, a, a);
    case Op::intAdd:
      return forIntegers([](VI x, VI y) HWY_ATTR { return hn::Add(x, y); }, to, a, b);
    case Op::intSub:
      return forIntegers([](VI x, VI y) HWY_ATTR { return hn::Sub(x, y); }, to, a, b);
    case Op::intMul:
      return forIntegers([](VI x, VI y) HWY_ATTR { return hn::Mul(x, y); }, to, a, b);
    case Op::intLess:
      return forIntegers([di](VI x, VI y) HWY_ATTR { return hn::VecFromMask(di, hn::Lt(x, y)); },
                         to, a, b);
    case Op::intEqual:
      return forIntegers([di](VI x, VI y) HWY_ATTR { return hn::VecFromMask(di, hn::Eq(x, y)); },
                         to, a, b);
    case Op::floatToInt:
      return forFloats([](V x, V) HWY_ATTR { return integerFromFloat(x); }, to, a, a);
    case Op::intToFloat:
      return forFloats([d, di](V x, V) HWY_ATTR { return hn::ConvertTo(d, hn::BitCast(di, x)); },
                       to, a, a);
    case Op::mod:
      return forFloats([](V x, V y)
                           HWY_ATTR { return hn::Sub(x, hn::Mul(y, floorOf(hn::Div(x, y)))); },
                       to, a, b);
    case Op::selectInt:
      for (std::size_t i = 0; i < kBlock; i += kLanes) {
        const auto mask = loadedMask(hn::Load(d, a + i));
        hn::Store(hn::IfThenElse(mask, hn::Load(d, b + i), hn::Load(d, c + i)), d, to + i);
      }
      return;
    default:
      return callByLane(op, to, a, b);
  }
}

// `a`, `b` and `c` are the block registers of the operation's operands, or any others.
inline void call(Op op, float* to, const float* a, const float* b, const float* c) {
#if HWY_HAVE_FLOAT64
  switch (op) {
    case Op::exp:
      return expCall(to, a);
    case Op::exp2:
      return exp2Call(to, a);
    case Op::log:
      return logCall(to, a);
    case Op::log2:
      return log2Call(to, a);
    case Op::sin:
      return sinCall(to, a);
    case Op::cos:
      return cosCall(to, a);
    case Op::tan:
      return tanCall(to, a);
    case Op::asin:
      return asinCall(to, a);
    case Op::acos:
      return acosCall(to, a);
    case Op::atan:
      return atanCall(to, a);
    case Op::pow:
      return powCall(to, a, b);
    case Op::atan2:
      return atan2Call(to, a, b);
    default:
      break;
  }
#endif
  callIntegers(op, to, a, b, c);
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif  // HWY_SCALAR

#endif
