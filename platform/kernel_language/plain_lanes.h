#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

// One lane of ordinary C++ under the names of the vector library, so that math-inl.h compiles
// without any vectors: for folding constants and for the plain implementation.
namespace kelvo::kernel_language::plain {

struct DoubleTag {};
struct Unsigned64Tag {};

template <class D>
using RebindToUnsigned = Unsigned64Tag;
template <class D>
using Vec = double;

inline double Set(DoubleTag, double value) { return value; }
inline std::uint64_t Set(Unsigned64Tag, std::uint64_t value) { return value; }
inline double BitCast(DoubleTag, std::uint64_t bits) { return std::bit_cast<double>(bits); }
inline std::uint64_t BitCast(Unsigned64Tag, double value) {
  return std::bit_cast<std::uint64_t>(value);
}

inline double Add(double a, double b) { return a + b; }
inline double Sub(double a, double b) { return a - b; }
inline double Mul(double a, double b) { return a * b; }
inline double Div(double a, double b) { return a / b; }
inline double Neg(double a) { return -a; }
inline double Abs(double a) { return std::fabs(a); }
inline double Sqrt(double a) { return std::sqrt(a); }
inline double CopySign(double magnitude, double sign) { return std::copysign(magnitude, sign); }

inline double Min(double a, double b) { return a < b ? a : b; }
inline double Max(double a, double b) { return a > b ? a : b; }

inline bool Le(double a, double b) { return a <= b; }
inline bool Lt(double a, double b) { return a < b; }
inline bool Eq(double a, double b) { return a == b; }
inline bool And(bool a, bool b) { return a && b; }
inline bool Or(bool a, bool b) { return a || b; }
inline bool Not(bool a) { return !a; }
inline double IfThenElse(bool mask, double a, double b) { return mask ? a : b; }

inline std::uint64_t Add(std::uint64_t a, std::uint64_t b) { return a + b; }
inline std::uint64_t And(std::uint64_t a, std::uint64_t b) { return a & b; }
inline std::uint64_t Or(std::uint64_t a, std::uint64_t b) { return a | b; }
inline std::uint64_t Xor(std::uint64_t a, std::uint64_t b) { return a ^ b; }
inline bool Eq(std::uint64_t a, std::uint64_t b) { return a == b; }
inline double IfOddThenElse(DoubleTag, std::uint64_t number, double odd, double even) {
  return (number & 1) != 0 ? odd : even;
}
template <int kBits>
std::uint64_t ShiftLeft(std::uint64_t a) {
  return a << kBits;
}
template <int kBits>
std::uint64_t ShiftRight(std::uint64_t a) {
  return a >> kBits;
}

}  // namespace kelvo::kernel_language::plain
