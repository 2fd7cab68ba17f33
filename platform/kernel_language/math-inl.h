// The transcendental functions, on lanes of doubles. Included inside a namespace that has an alias
// `hn` for the vector operations (the vector library's, or plain_lanes.h) and KELVO_MATH_INLINE.
// No include guard: once per target.
//
// Arguments are floats widened to double and results are rounded back to float by the caller, so an
// error of 2^-33 here leaves the float within 0.51 units in the last place. Every target, the plain
// one included, performs the same operations in the same order and never contracts a multiplication
// with an addition: all results are equal bit for bit.
//
// Polynomials: interpolation at the Chebyshev nodes, printed with their errors by
// math_coefficients.py in this folder. Argument reductions are the classical ones (Cody and Waite,
// "Software Manual for the Elementary Functions"; the atan and log forms as in W. Kahan's and
// Sun's freely published notes, re-derived).

// c0 + x (c1 + x (c2 + ...)).
template <class D, class V>
KELVO_MATH_INLINE V polynomial(D d, V /*x*/, double last) {
  return hn::Set(d, last);
}
template <class D, class V, class... Rest>
KELVO_MATH_INLINE V polynomial(D d, V x, double first, Rest... rest) {
  return hn::Add(hn::Set(d, first), hn::Mul(x, polynomial(d, x, rest...)));
}

// Adding and subtracting it rounds to the nearest whole number, halves to even; the sum's low bits
// hold that number in two's complement.
constexpr double kRounder = 0x1.8p52;

// `x` limited to ±limit; not a number stays.
template <class D, class V>
KELVO_MATH_INLINE V limited(D d, V x, double limit) {
  const V high = hn::Set(d, limit);
  const V low = hn::Set(d, -limit);
  return hn::IfThenElse(hn::Lt(high, x), high, hn::IfThenElse(hn::Lt(x, low), low, x));
}

// The results' logarithms are limited to this, beyond which floats are 0 or infinite.
constexpr double kLogLimit = 250.0;

// 2^t for |t| <= kLogLimit.
template <class D, class V>
KELVO_MATH_INLINE V exp2OfLimited(D d, V t) {
  const hn::RebindToUnsigned<D> du;
  const V shifted = hn::Add(t, hn::Set(d, kRounder));
  const V f = hn::Sub(t, hn::Sub(shifted, hn::Set(d, kRounder)));  // -0.5 … 0.5, exact
  const V quotient = polynomial(d, f, 0.6931471805599453, 0.24022650922288757, 0.055504108839096185,
                                0.009618056678524637, 0.001333350238616277, 0.0001546144469856913,
                                1.5297323760701075e-05);  // (2^f - 1) / f
  const V power = hn::Add(hn::Set(d, 1.0), hn::Mul(f, quotient));
  // Multiplies by 2^n through the exponent's bits.
  const auto exponent = hn::template ShiftLeft<52>(hn::BitCast(du, shifted));
  return hn::BitCast(d, hn::Add(hn::BitCast(du, power), exponent));
}

// 2^x, for any x. Results beyond the floats come out as a double that rounds to 0 or infinity.
template <class D, class V>
KELVO_MATH_INLINE V exp2Lanes(D d, V x) {
  const V power = exp2OfLimited(d, limited(d, x, kLogLimit));
  return hn::IfThenElse(hn::Eq(x, x), power, x);
}

template <class D, class V>
KELVO_MATH_INLINE V expLanes(D d, V x) {
  // log2(e); the product's rounding error is at most 2^-45 for results within the floats.
  return exp2Lanes(d, hn::Mul(x, hn::Set(d, 0x1.71547652b82fep+0)));
}

// log2 of positive numbers; something below -1022 for 0 and above 1023 for infinity.
template <class D, class V>
KELVO_MATH_INLINE V log2OfPositive(D d, V x) {
  const hn::RebindToUnsigned<D> du;
  constexpr std::uint64_t kRootHalf = 0x3fe6a09e667f3bcdULL;  // the bits of sqrt(1/2)
  // x = 2^e m with sqrt(1/2) <= m < sqrt(2). Floats are never subnormal as doubles.
  const auto bits = hn::Add(hn::BitCast(du, x), hn::Set(du, 0x3ff0000000000000ULL - kRootHalf));
  const auto mantissa = hn::And(bits, hn::Set(du, 0x000fffffffffffffULL));
  const V m = hn::BitCast(d, hn::Add(mantissa, hn::Set(du, kRootHalf)));
  // e + 1023 as a double: placed into the low bits of 2^52.
  const auto biased = hn::Or(hn::template ShiftRight<52>(bits), hn::Set(du, 0x4330000000000000ULL));
  const V e = hn::Sub(hn::BitCast(d, biased), hn::Set(d, 0x1p52 + 1023.0));
  // log2(m) = 2 log2(e) atanh(s), s = (m - 1) / (m + 1).
  const V one = hn::Set(d, 1.0);
  const V s = hn::Div(hn::Sub(m, one), hn::Add(m, one));
  const V z = hn::Mul(s, s);
  const V tail = polynomial(d, z, 0.33333333333687715, 0.19999999398440554, 0.14285877314555742,
                            0.11095697456759207, 0.09681384335192404);
  const V logarithm =
      hn::Mul(hn::Mul(s, hn::Set(d, 0x1.71547652b82fep+1)), hn::Add(one, hn::Mul(z, tail)));
  return hn::Add(e, logarithm);
}

// log2; of 0 -infinity, of negative numbers not a number.
template <class D, class V>
KELVO_MATH_INLINE V log2Lanes(D d, V x) {
  V result = log2OfPositive(d, x);
  const V zero = hn::Set(d, 0.0);
  const V infinity = hn::Set(d, std::numeric_limits<double>::infinity());
  result = hn::IfThenElse(hn::Eq(x, infinity), infinity, result);
  result = hn::IfThenElse(hn::Eq(x, zero), hn::Neg(infinity), result);
  // Neither 0 <= x nor infinite: negative or not a number.
  const V nan = hn::Set(d, std::numeric_limits<double>::quiet_NaN());
  return hn::IfThenElse(hn::Or(hn::Lt(zero, x), hn::Eq(x, zero)), result, nan);
}

template <class D, class V>
KELVO_MATH_INLINE V logLanes(D d, V x) {
  return hn::Mul(log2Lanes(d, x), hn::Set(d, 0x1.62e42fefa39efp-1));
}

// x^y with the special cases of C99.
template <class D, class V>
KELVO_MATH_INLINE V powLanes(D d, V x, V y) {
  const V one = hn::Set(d, 1.0);
  const V zero = hn::Set(d, 0.0);
  const V nan = hn::Set(d, std::numeric_limits<double>::quiet_NaN());
  const V magnitude = hn::Abs(x);
  V power = exp2Lanes(d, hn::Mul(y, log2Lanes(d, magnitude)));
  power = hn::IfThenElse(hn::Eq(magnitude, one), one, power);  // (±1)^±infinity
  // A float of 2^24 and more is an even whole number, infinities count as such.
  const V small = limited(d, y, 0x1p30);
  const V rounder = hn::Set(d, kRounder);
  const auto whole = hn::Eq(hn::Sub(hn::Add(small, rounder), rounder), small);
  const V half = hn::Mul(small, hn::Set(d, 0.5));
  const auto odd = hn::And(whole, hn::Not(hn::Eq(hn::Sub(hn::Add(half, rounder), rounder), half)));
  const V sign = hn::CopySign(one, x);
  const auto signBit = hn::Lt(sign, zero);
  power = hn::IfThenElse(hn::And(signBit, odd), hn::Neg(power), power);
  // Negative, finite, to the power of a fraction.
  const V lowest = hn::Set(d, -std::numeric_limits<double>::infinity());
  const auto undefined = hn::And(hn::And(hn::Lt(x, zero), hn::Lt(lowest, x)), hn::Not(whole));
  power = hn::IfThenElse(undefined, nan, power);
  // Not-a-number operands, then the two cases that beat even them.
  power = hn::IfThenElse(hn::And(hn::Eq(x, x), hn::Eq(y, y)), power, nan);
  return hn::IfThenElse(hn::Or(hn::Eq(y, zero), hn::Eq(x, one)), one, power);
}

// x^y for a y that is no whole number and at least 1/4 in size: what powLanes gives, by the same
// arithmetic, with most of the special cases out of the way. 0 and infinity have logarithms beyond
// the limit even when multiplied by 1/4.
template <class D, class V>
KELVO_MATH_INLINE V powOfFraction(D d, V x, V y) {
  const V limit = hn::Set(d, kLogLimit);
  const V t = hn::Mul(y, log2OfPositive(d, hn::Abs(x)));
  const V power = exp2OfLimited(d, hn::Max(hn::Min(t, limit), hn::Neg(limit)));
  const V nan = hn::Set(d, std::numeric_limits<double>::quiet_NaN());
  const V lowest = hn::Set(d, -std::numeric_limits<double>::infinity());
  const auto defined = hn::Or(hn::Le(hn::Set(d, 0.0), x), hn::Eq(x, lowest));
  return hn::IfThenElse(defined, power, nan);
}

// sine and cosine of the remainder after taking away the nearest multiple of pi/2, and that
// multiple modulo 4 in the low bits.
template <class V, class U>
struct Reduced {
  V sine;
  V cosine;
  U quadrant;
};

template <class D, class V>
KELVO_MATH_INLINE auto reduceAngle(D d, V x) {
  const hn::RebindToUnsigned<D> du;
  const V shifted = hn::Add(hn::Mul(x, hn::Set(d, 0x1.45f306dc9c883p-1)), hn::Set(d, kRounder));
  const V n = hn::Sub(shifted, hn::Set(d, kRounder));
  // pi/2 in three parts; the first two have 33 bits, so that their products with n are exact up to
  // n = 2^20. Beyond that the remainder loses accuracy; the limit keeps the result within -1 … 1.
  V r = hn::Sub(x, hn::Mul(n, hn::Set(d, 0x1.921fb54400000p+0)));
  r = hn::Sub(r, hn::Mul(n, hn::Set(d, 0x1.0b4611a600000p-34)));
  r = hn::Sub(r, hn::Mul(n, hn::Set(d, 0x1.3198a2e037073p-69)));
  r = limited(d, r, 0.7855);
  const V z = hn::Mul(r, r);
  const V one = hn::Set(d, 1.0);
  const V sineTail =
      polynomial(d, z, -0.1666666666666387, 0.00833333333107021, -0.00019841266908224796,
                 2.7555988280021416e-06, -2.4805390945766067e-08);
  const V cosineTail =
      polynomial(d, z, -0.49999999999999967, 0.04166666666663075, -0.0013888888882100919,
                 2.4801582609336556e-05, -2.7555852592391734e-07, 2.066529463577556e-09);
  const V sine = hn::Mul(r, hn::Add(one, hn::Mul(z, sineTail)));  // keeps -0
  const V cosine = hn::Add(one, hn::Mul(z, cosineTail));
  const auto quadrant = hn::BitCast(du, shifted);
  return Reduced<V, decltype(quadrant)>{sine, cosine, quadrant};
}

// The value with its sign changed in the third and fourth quadrants.
template <class D, class V, class U>
KELVO_MATH_INLINE V signedBy(D d, U quadrant, V value) {
  const hn::RebindToUnsigned<D> du;
  const auto sign =
      hn::And(hn::template ShiftLeft<62>(quadrant), hn::Set(du, std::uint64_t{1} << 63));
  return hn::BitCast(d, hn::Xor(hn::BitCast(du, value), sign));
}

template <class D, class R>
KELVO_MATH_INLINE auto sineOf(D d, const R& reduced) {
  return signedBy(d, reduced.quadrant,
                  hn::IfOddThenElse(d, reduced.quadrant, reduced.cosine, reduced.sine));
}

template <class D, class R>
KELVO_MATH_INLINE auto cosineOf(D d, const R& reduced) {
  const hn::RebindToUnsigned<D> du;
  return signedBy(d, hn::Add(reduced.quadrant, hn::Set(du, 1)),
                  hn::IfOddThenElse(d, reduced.quadrant, reduced.sine, reduced.cosine));
}

template <class D, class V>
KELVO_MATH_INLINE V sinLanes(D d, V x) {
  return sineOf(d, reduceAngle(d, x));
}

template <class D, class V>
KELVO_MATH_INLINE V cosLanes(D d, V x) {
  return cosineOf(d, reduceAngle(d, x));
}

template <class D, class V>
KELVO_MATH_INLINE V tanLanes(D d, V x) {
  const auto reduced = reduceAngle(d, x);
  const V numerator = hn::IfOddThenElse(d, reduced.quadrant, hn::Neg(reduced.cosine), reduced.sine);
  return hn::Div(numerator, hn::IfOddThenElse(d, reduced.quadrant, reduced.sine, reduced.cosine));
}

constexpr double kPi = 0x1.921fb54442d18p+1;
constexpr double kTanEighthOfPi = 0x1.a827999fcef32p-2;  // tan(pi/8)

// atan(r) for |r| <= tan(pi/8).
template <class D, class V>
KELVO_MATH_INLINE V smallAtan(D d, V r) {
  const V z = hn::Mul(r, r);
  const V tail = polynomial(d, z, -0.33333333333266196, 0.19999999949854794, -0.142857081103604,
                            0.11110819716745676, -0.09084101895346429, 0.07604800046078292,
                            -0.06027307460946675, 0.03295679541870136);
  return hn::Add(r, hn::Mul(r, hn::Mul(z, tail)));
}

template <class D, class V>
KELVO_MATH_INLINE V atanLanes(D d, V x) {
  // atan(t) = pi/4 + atan((t - 1)/(t + 1)) = pi/2 + atan(-1/t).
  const V t = hn::Abs(x);
  const V one = hn::Set(d, 1.0);
  const auto middle = hn::Lt(hn::Set(d, kTanEighthOfPi), t);
  const auto large = hn::Lt(hn::Set(d, 1.0 / kTanEighthOfPi), t);
  const V numerator =
      hn::IfThenElse(large, hn::Neg(one), hn::IfThenElse(middle, hn::Sub(t, one), t));
  const V denominator = hn::IfThenElse(large, t, hn::IfThenElse(middle, hn::Add(t, one), one));
  const V base = hn::IfThenElse(large, hn::Set(d, kPi / 2),
                                hn::IfThenElse(middle, hn::Set(d, kPi / 4), hn::Set(d, 0.0)));
  const V angle = hn::Add(base, smallAtan(d, hn::Div(numerator, denominator)));
  return hn::CopySign(angle, x);
}

// The angle of (x, y), -pi … pi, with the special cases of C99.
template <class D, class V>
KELVO_MATH_INLINE V atan2Lanes(D d, V y, V x) {
  const V zero = hn::Set(d, 0.0);
  const V one = hn::Set(d, 1.0);
  const V infinity = hn::Set(d, std::numeric_limits<double>::infinity());
  const V absX = hn::Abs(x);
  const V absY = hn::Abs(y);
  const auto steep = hn::Lt(absX, absY);
  V small = hn::IfThenElse(steep, absX, absY);
  V large = hn::IfThenElse(steep, absY, absX);
  const auto bothInfinite = hn::Eq(small, infinity);
  small = hn::IfThenElse(bothInfinite, one, small);
  large = hn::IfThenElse(hn::Or(bothInfinite, hn::Eq(large, zero)), one, large);
  const auto middle = hn::Lt(hn::Mul(large, hn::Set(d, kTanEighthOfPi)), small);
  const V numerator = hn::IfThenElse(middle, hn::Sub(small, large), small);
  const V denominator = hn::IfThenElse(middle, hn::Add(small, large), large);
  const V base = hn::IfThenElse(middle, hn::Set(d, kPi / 4), zero);
  V angle = hn::Add(base, smallAtan(d, hn::Div(numerator, denominator)));
  angle = hn::IfThenElse(steep, hn::Sub(hn::Set(d, kPi / 2), angle), angle);
  const auto left = hn::Lt(hn::CopySign(one, x), zero);
  angle = hn::IfThenElse(left, hn::Sub(hn::Set(d, kPi), angle), angle);
  angle = hn::CopySign(angle, y);
  const V nan = hn::Set(d, std::numeric_limits<double>::quiet_NaN());
  return hn::IfThenElse(hn::And(hn::Eq(x, x), hn::Eq(y, y)), angle, nan);
}

// asin(r) for |r| <= 1/2, z = r^2.
template <class D, class V>
KELVO_MATH_INLINE V smallAsin(D d, V r, V z) {
  const V tail = polynomial(d, z, 0.1666666666666218, 0.07500000003584559, 0.04464285243793872,
                            0.030382182776212484, 0.02236606593888501, 0.017441495685492855,
                            0.01318791613675373, 0.015675662527070935, -0.0029397929067241963,
                            0.0279070314326661);
  return hn::Add(r, hn::Mul(r, hn::Mul(z, tail)));
}

// asin(|x|) = pi/2 - 2 asin(sqrt((1 - |x|)/2)) above 1/2; beyond 1 the root is not a number.
template <class D, class V>
KELVO_MATH_INLINE V asinLanes(D d, V x) {
  const V t = hn::Abs(x);
  const auto large = hn::Lt(hn::Set(d, 0.5), t);
  const V rest = hn::Mul(hn::Sub(hn::Set(d, 1.0), t), hn::Set(d, 0.5));
  const V z = hn::IfThenElse(large, rest, hn::Mul(t, t));
  const V r = hn::IfThenElse(large, hn::Sqrt(rest), t);
  const V angle = smallAsin(d, r, z);
  const V whole = hn::Sub(hn::Set(d, kPi / 2), hn::Add(angle, angle));
  return hn::CopySign(hn::IfThenElse(large, whole, angle), x);
}

template <class D, class V>
KELVO_MATH_INLINE V acosLanes(D d, V x) {
  const V t = hn::Abs(x);
  const auto large = hn::Lt(hn::Set(d, 0.5), t);
  const V rest = hn::Mul(hn::Sub(hn::Set(d, 1.0), t), hn::Set(d, 0.5));
  const V z = hn::IfThenElse(large, rest, hn::Mul(t, t));
  const V r = hn::IfThenElse(large, hn::Sqrt(rest), x);
  const V angle = smallAsin(d, r, z);
  const V twice = hn::Add(angle, angle);
  const auto left = hn::Lt(x, hn::Set(d, 0.0));
  const V far = hn::IfThenElse(left, hn::Sub(hn::Set(d, kPi), twice), twice);
  return hn::IfThenElse(large, far, hn::Sub(hn::Set(d, kPi / 2), angle));
}
