// Pairs of vectors under the names of the vector library, once per target, so that math-inl.h works
// on several vectors in turns: its long chains of dependent operations then fill the processor.
#if defined(KELVO_VECTOR_PAIRS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVO_VECTOR_PAIRS_INL_H_
#undef KELVO_VECTOR_PAIRS_INL_H_
#else
#define KELVO_VECTOR_PAIRS_INL_H_
#endif

#include "platform/kernel_language/vector_lanes-inl.h"

#if HWY_TARGET != HWY_SCALAR && HWY_HAVE_FLOAT64
HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {
namespace pairs {

// Of vectors, of masks, or of pairs.
template <class T>
struct Pair {
  T first;
  T second;
};

template <class D>
struct PairTag {
  D part;
};

template <class D>
struct Unsigned {
  using Type = hn::RebindToUnsigned<D>;
};
template <class D>
struct Unsigned<PairTag<D>> {
  using Type = PairTag<typename Unsigned<D>::Type>;
};
template <class D>
using RebindToUnsigned = typename Unsigned<D>::Type;

using hn::Abs;
using hn::Add;
using hn::And;
using hn::BitCast;
using hn::CopySign;
using hn::Div;
using hn::Eq;
using hn::IfThenElse;
using hn::Le;
using hn::Lt;
using hn::Max;
using hn::Min;
using hn::Mul;
using hn::Neg;
using hn::Not;
using hn::Or;
using hn::Set;
using hn::ShiftLeft;
using hn::ShiftRight;
using hn::Sqrt;
using hn::Sub;
using hn::Xor;

#define KELVO_UNARY(Name)                                      \
  template <class T>                                           \
  HWY_INLINE auto Name(const Pair<T>& a) {                     \
    const auto first = Name(a.first);                          \
    const auto second = Name(a.second);                        \
    return Pair<std::decay_t<decltype(first)>>{first, second}; \
  }
#define KELVO_BINARY(Name)                                     \
  template <class T>                                           \
  HWY_INLINE auto Name(const Pair<T>& a, const Pair<T>& b) {   \
    const auto first = Name(a.first, b.first);                 \
    const auto second = Name(a.second, b.second);              \
    return Pair<std::decay_t<decltype(first)>>{first, second}; \
  }
KELVO_UNARY(Abs)
KELVO_UNARY(Neg)
KELVO_UNARY(Not)
KELVO_UNARY(Sqrt)
KELVO_BINARY(Add)
KELVO_BINARY(And)
KELVO_BINARY(CopySign)
KELVO_BINARY(Div)
KELVO_BINARY(Eq)
KELVO_BINARY(Le)
KELVO_BINARY(Lt)
KELVO_BINARY(Max)
KELVO_BINARY(Min)
KELVO_BINARY(Mul)
KELVO_BINARY(Or)
KELVO_BINARY(Sub)
KELVO_BINARY(Xor)
#undef KELVO_UNARY
#undef KELVO_BINARY

template <int kBits, class T>
HWY_INLINE Pair<T> ShiftLeft(const Pair<T>& a) {
  return {ShiftLeft<kBits>(a.first), ShiftLeft<kBits>(a.second)};
}
template <int kBits, class T>
HWY_INLINE Pair<T> ShiftRight(const Pair<T>& a) {
  return {ShiftRight<kBits>(a.first), ShiftRight<kBits>(a.second)};
}
template <class M, class T>
HWY_INLINE Pair<T> IfThenElse(const Pair<M>& mask, const Pair<T>& a, const Pair<T>& b) {
  return {IfThenElse(mask.first, a.first, b.first), IfThenElse(mask.second, a.second, b.second)};
}
// Numbers of as many bits as the values.
template <class D, class U, class T>
HWY_INLINE T IfOddThenElse(D d, const U& number, const T& odd, const T& even) {
  const RebindToUnsigned<D> du;
  const U bit = And(number, Set(du, std::uint64_t{1}));
  return IfThenElse(hn::MaskFromVec(BitCast(d, Sub(hn::Zero(du), bit))), odd, even);
}
template <class D, class U, class T>
HWY_INLINE Pair<T> IfOddThenElse(PairTag<D> d, const Pair<U>& number, const Pair<T>& odd,
                                 const Pair<T>& even) {
  return {IfOddThenElse(d.part, number.first, odd.first, even.first),
          IfOddThenElse(d.part, number.second, odd.second, even.second)};
}
template <class D, class Number>
HWY_INLINE auto Set(PairTag<D> d, Number value) {
  const auto part = Set(d.part, value);
  return Pair<std::decay_t<decltype(part)>>{part, part};
}
template <class D, class T>
HWY_INLINE auto BitCast(PairTag<D> d, const Pair<T>& a) {
  const auto first = BitCast(d.part, a.first);
  const auto second = BitCast(d.part, a.second);
  return Pair<std::decay_t<decltype(first)>>{first, second};
}

}  // namespace pairs
}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif

#endif
