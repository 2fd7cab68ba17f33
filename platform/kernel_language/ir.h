#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

// The typed program that kernels are turned into: straight-line, one pixel at a time, every value
// computed once. Vectors have been split into components, functions inlined, branches turned into
// selections. A whole chain of filters is built into one program.
namespace kelvo::kernel_language {

enum class Type : std::uint8_t { f32, i32, mask };

// Every instruction, once. Rules that all evaluators share:
// - f32 arithmetic is IEEE single precision, each operation rounded by itself (never contracted);
// - min(a, b) = b < a ? b : a and max(a, b) = a < b ? b : a, so a value that is not a number in
//   second place is passed over, in first place is kept;
// - sign of 0 and of a value that is not a number is 0; mod(a, b) = a - b floor(a / b); fract(a) =
//   a - floor(a);
// - i32 wraps around; division and remainder truncate towards zero, by zero give 0;
// - floatToInt truncates towards zero, limited to the range of i32, not a number gives 0.
// One line per kind.
// clang-format off
enum class Op : std::uint8_t {
  constant,      // f32, the bits of Instruction::immediate
  constantInt,   // i32, immediate
  constantMask,  // mask, immediate 0 or 1
  input,         // f32, sample `component` of source `source` at this pixel, divided by its maximum
  destX,         // f32, column of this pixel (whole number)
  destY,         // f32, row of this pixel (whole number)
  sampleImage,   // f32, component of a sampled image at (a, b); see SampledImage
  // f32 -> f32
  neg, abs, sign, floor, ceil, fract, sqrt,
  exp, exp2, log, log2, sin, cos, tan, asin, acos, atan,
  // f32, f32 -> f32
  add, sub, mul, div, min, max, mod, pow, atan2,
  // f32, f32 -> mask (all false where an operand is not a number, notEqual true)
  less, lessEqual, equal, notEqual,
  // mask
  maskNot, maskAnd, maskOr, maskXor,
  // (mask, x, x) -> x, the value not chosen leaves no trace
  select, selectInt,
  // i32
  intNeg, intAdd, intSub, intMul, intDiv, intRemainder, intLess, intEqual,
  // conversions
  floatToInt, intToFloat,
};
// clang-format on

using ValueId = std::uint32_t;
constexpr ValueId kNoValue = 0xffffffffu;

struct Instruction {
  Op op = Op::constant;
  ValueId a = kNoValue;
  ValueId b = kNoValue;
  ValueId c = kNoValue;
  // Constants: the bits. input and sampleImage: source or image index * 4 + component.
  std::uint32_t immediate = 0;

  friend bool operator==(const Instruction&, const Instruction&) = default;
};

using Pixel = std::array<ValueId, 4>;

// Operands always stand before their users. `outputs` is the pixel, colour premultiplied.
struct Program {
  std::vector<Instruction> instructions;
  Pixel outputs{kNoValue, kNoValue, kNoValue, kNoValue};
};

std::string_view opName(Op op);
unsigned operandCount(Op op);
Type resultType(Op op);

// What is known of a value: every f32 it can take lies in low…high, unless it is not a number.
struct Range {
  float low = -std::numeric_limits<float>::infinity();
  float high = std::numeric_limits<float>::infinity();
  bool maybeNotANumber = true;
  bool maybeNegativeZero = true;

  [[nodiscard]] bool finite() const;
  [[nodiscard]] bool contains(float value) const { return low <= value && value <= high; }
};

// Builds a program. Equal instructions become one; what is known is folded; identities that hold
// for every float (including signed zeros and values that are not numbers) are applied. Folding
// computes with the very functions the executor uses, so that it never changes a result.
class Builder {
 public:
  // Promises that the inputs of `source` lie in 0…1 and are never -0, as integer samples do. More
  // identities hold then. Counts for the inputs asked for afterwards.
  void assumeUnitRange(std::uint32_t source);

  ValueId constant(float value);
  ValueId constantInt(std::int32_t value);
  ValueId constantMask(bool value);
  ValueId input(std::uint32_t source, std::uint32_t component);
  ValueId destX();
  ValueId destY();
  ValueId sampleImage(std::uint32_t image, std::uint32_t component, ValueId x, ValueId y);
  ValueId unary(Op op, ValueId a);
  ValueId binary(Op op, ValueId a, ValueId b);
  // `a` where `mask`, else `b`; a and b are both f32, both i32 or both mask.
  ValueId select(ValueId mask, ValueId a, ValueId b);

  [[nodiscard]] Type type(ValueId value) const;
  [[nodiscard]] std::optional<float> constantValue(ValueId value) const;  // f32 constants only

  // A value that differs from this one at most in the sign of zero.
  ValueId withAnyZero(ValueId value);

  // True if the f32 is known to lie in -limit … limit wherever it is a number.
  [[nodiscard]] bool isWithin(ValueId value, float limit) const;

  // Drops what the outputs do not need.
  [[nodiscard]] Program finish(const Pixel& outputs) const;

 private:
  ValueId append(const Instruction& instruction);
  // What a selection by that mask gives on one side of it; other values as they are.
  [[nodiscard]] ValueId side(ValueId value, ValueId mask, bool whenSet) const;
  [[nodiscard]] std::optional<ValueId> distributed(Op op, ValueId a, ValueId b);
  void forgetFrom(std::size_t size);
  [[nodiscard]] std::optional<ValueId> simplified(Op op, ValueId a);
  [[nodiscard]] std::optional<ValueId> simplified(Op op, ValueId a, ValueId b);
  [[nodiscard]] std::optional<ValueId> simplifiedArithmetic(Op op, ValueId a, ValueId b);
  [[nodiscard]] std::optional<ValueId> simplifiedLimit(Op op, ValueId a, ValueId b) const;
  [[nodiscard]] std::optional<bool> knownComparison(Op op, ValueId a, ValueId b) const;
  [[nodiscard]] ValueId throughMonotonic(ValueId value) const;
  [[nodiscard]] std::optional<ValueId> withMovedThreshold(Op op, ValueId a, ValueId b);
  [[nodiscard]] std::optional<ValueId> simplifiedLogic(Op op, ValueId a, ValueId b);
  [[nodiscard]] std::optional<ValueId> simplifiedInteger(Op op, ValueId a, ValueId b);
  [[nodiscard]] std::optional<std::uint32_t> constantBits(ValueId value) const;
  [[nodiscard]] ValueId withoutZero(ValueId value) const;
  ValueId constantOfType(Type type, std::uint32_t bits);

  struct Hash {
    std::size_t operator()(const Instruction& instruction) const;
  };
  std::vector<Instruction> instructions_;
  std::vector<Range> ranges_;  // by value
  std::unordered_map<Instruction, ValueId, Hash> known_;
  std::vector<bool> unitSources_;
  int distributing_ = 0;
};

}  // namespace kelvo::kernel_language
