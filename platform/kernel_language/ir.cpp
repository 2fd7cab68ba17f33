#include "platform/kernel_language/ir.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>

#include "platform/kernel_language/enumerators.h"
#include "platform/kernel_language/one_lane.h"
#include "platform/kernel_language/ranges.h"

namespace kelvo::kernel_language {
namespace {

struct OpInfo {
  Op op;
  std::string_view name;
  unsigned operands;
  std::array<Type, 3> types;
  Type result;
};

constexpr Type kF = Type::f32;
constexpr Type kI = Type::i32;
constexpr Type kM = Type::mask;

// The one list of operations, in the order of Op.
constexpr auto kOps = std::to_array<OpInfo>({
    {Op::constant, "constant", 0, {}, kF},
    {Op::constantInt, "constantInt", 0, {}, kI},
    {Op::constantMask, "constantMask", 0, {}, kM},
    {Op::input, "input", 0, {}, kF},
    {Op::destX, "destX", 0, {}, kF},
    {Op::destY, "destY", 0, {}, kF},
    {Op::sampleImage, "sampleImage", 2, {kF, kF}, kF},
    {Op::neg, "neg", 1, {kF}, kF},
    {Op::abs, "abs", 1, {kF}, kF},
    {Op::sign, "sign", 1, {kF}, kF},
    {Op::floor, "floor", 1, {kF}, kF},
    {Op::ceil, "ceil", 1, {kF}, kF},
    {Op::fract, "fract", 1, {kF}, kF},
    {Op::sqrt, "sqrt", 1, {kF}, kF},
    {Op::exp, "exp", 1, {kF}, kF},
    {Op::exp2, "exp2", 1, {kF}, kF},
    {Op::log, "log", 1, {kF}, kF},
    {Op::log2, "log2", 1, {kF}, kF},
    {Op::sin, "sin", 1, {kF}, kF},
    {Op::cos, "cos", 1, {kF}, kF},
    {Op::tan, "tan", 1, {kF}, kF},
    {Op::asin, "asin", 1, {kF}, kF},
    {Op::acos, "acos", 1, {kF}, kF},
    {Op::atan, "atan", 1, {kF}, kF},
    {Op::add, "add", 2, {kF, kF}, kF},
    {Op::sub, "sub", 2, {kF, kF}, kF},
    {Op::mul, "mul", 2, {kF, kF}, kF},
    {Op::div, "div", 2, {kF, kF}, kF},
    {Op::min, "min", 2, {kF, kF}, kF},
    {Op::max, "max", 2, {kF, kF}, kF},
    {Op::mod, "mod", 2, {kF, kF}, kF},
    {Op::pow, "pow", 2, {kF, kF}, kF},
    {Op::atan2, "atan2", 2, {kF, kF}, kF},
    {Op::less, "less", 2, {kF, kF}, kM},
    {Op::lessEqual, "lessEqual", 2, {kF, kF}, kM},
    {Op::equal, "equal", 2, {kF, kF}, kM},
    {Op::notEqual, "notEqual", 2, {kF, kF}, kM},
    {Op::maskNot, "maskNot", 1, {kM}, kM},
    {Op::maskAnd, "maskAnd", 2, {kM, kM}, kM},
    {Op::maskOr, "maskOr", 2, {kM, kM}, kM},
    {Op::maskXor, "maskXor", 2, {kM, kM}, kM},
    {Op::select, "select", 3, {kM, kF, kF}, kF},
    {Op::selectInt, "selectInt", 3, {kM, kI, kI}, kI},
    {Op::intNeg, "intNeg", 1, {kI}, kI},
    {Op::intAdd, "intAdd", 2, {kI, kI}, kI},
    {Op::intSub, "intSub", 2, {kI, kI}, kI},
    {Op::intMul, "intMul", 2, {kI, kI}, kI},
    {Op::intDiv, "intDiv", 2, {kI, kI}, kI},
    {Op::intRemainder, "intRemainder", 2, {kI, kI}, kI},
    {Op::intLess, "intLess", 2, {kI, kI}, kM},
    {Op::intEqual, "intEqual", 2, {kI, kI}, kM},
    {Op::floatToInt, "floatToInt", 1, {kF}, kI},
    {Op::intToFloat, "intToFloat", 1, {kI}, kF},
});

constexpr bool inOrder() {
  for (std::size_t i = 0; i < kOps.size(); ++i) {
    if (static_cast<std::size_t>(kOps[i].op) != i) return false;
  }
  return true;
}
static_assert(hasEnumerator<kOps.back().op>() && !hasEnumerator<static_cast<Op>(kOps.size())>(),
              "every operation has its entry");
static_assert(inOrder(), "the entries stand in the order of Op");

const OpInfo& info(Op op) { return kOps[static_cast<std::size_t>(op)]; }

bool commutes(Op op) {
  switch (op) {
    case Op::add:
    case Op::mul:
    case Op::equal:
    case Op::notEqual:
    case Op::maskAnd:
    case Op::maskOr:
    case Op::maskXor:
    case Op::intAdd:
    case Op::intMul:
    case Op::intEqual:
      return true;
    default:
      return false;  // min and max treat what is not a number by its place
  }
}

}  // namespace

std::string_view opName(Op op) { return info(op).name; }
unsigned operandCount(Op op) { return info(op).operands; }
Type resultType(Op op) { return info(op).result; }

std::size_t Builder::Hash::operator()(const Instruction& instruction) const {
  std::uint64_t hash = static_cast<std::uint64_t>(instruction.op);
  for (const std::uint32_t part :
       {instruction.a, instruction.b, instruction.c, instruction.immediate}) {
    hash = (hash ^ part) * 0x9e3779b97f4a7c15ULL;
    hash ^= hash >> 32U;
  }
  return static_cast<std::size_t>(hash);
}

void Builder::assumeUnitRange(std::uint32_t source) {
  if (unitSources_.size() <= source) unitSources_.resize(source + 1U, false);
  unitSources_[source] = true;
}

ValueId Builder::append(const Instruction& instruction) {
  const auto [place, isNew] =
      known_.try_emplace(instruction, static_cast<ValueId>(instructions_.size()));
  if (isNew) {
    ranges_.push_back(rangeOf(instruction, {instructions_, ranges_}, unitSources_));
    instructions_.push_back(instruction);
  }
  return place->second;
}

ValueId Builder::constant(float value) {
  return append({.op = Op::constant, .immediate = std::bit_cast<std::uint32_t>(value)});
}

ValueId Builder::constantInt(std::int32_t value) {
  return append({.op = Op::constantInt, .immediate = static_cast<std::uint32_t>(value)});
}

ValueId Builder::constantMask(bool value) {
  return append({.op = Op::constantMask, .immediate = value ? 1U : 0U});
}

ValueId Builder::constantOfType(Type type, std::uint32_t bits) {
  const Op op = type == Type::f32   ? Op::constant
                : type == Type::i32 ? Op::constantInt
                                    : Op::constantMask;
  return append({.op = op, .immediate = bits});
}

ValueId Builder::input(std::uint32_t source, std::uint32_t component) {
  assert(component < 4);
  return append({.op = Op::input, .immediate = source * 4 + component});
}

ValueId Builder::destX() { return append({.op = Op::destX}); }
ValueId Builder::destY() { return append({.op = Op::destY}); }

ValueId Builder::sampleImage(std::uint32_t image, std::uint32_t component, ValueId x, ValueId y) {
  assert(component < 4 && type(x) == Type::f32 && type(y) == Type::f32);
  return append({.op = Op::sampleImage, .a = x, .b = y, .immediate = image * 4 + component});
}

Type Builder::type(ValueId value) const { return resultType(instructions_[value].op); }

std::optional<float> Builder::constantValue(ValueId value) const {
  const Instruction& instruction = instructions_[value];
  if (instruction.op != Op::constant) return std::nullopt;
  return std::bit_cast<float>(instruction.immediate);
}

std::optional<std::uint32_t> Builder::constantBits(ValueId value) const {
  const Instruction& instruction = instructions_[value];
  switch (instruction.op) {
    case Op::constant:
    case Op::constantInt:
    case Op::constantMask:
      return instruction.immediate;
    default:
      return std::nullopt;
  }
}

ValueId Builder::unary(Op op, ValueId a) {
  assert(operandCount(op) == 1 && type(a) == info(op).types[0]);
  if (const auto bits = constantBits(a)) {
    return constantOfType(resultType(op), evaluateOneLane(op, *bits));
  }
  if (const auto value = simplified(op, a)) return *value;
  if (const auto value = distributed(op, a, kNoValue)) return *value;
  return append({.op = op, .a = a});
}

ValueId Builder::binary(Op op, ValueId a, ValueId b) {
  assert(operandCount(op) == 2 && type(a) == info(op).types[0] && type(b) == info(op).types[1]);
  const auto bitsA = constantBits(a);
  const auto bitsB = constantBits(b);
  if (bitsA && bitsB) return constantOfType(resultType(op), evaluateOneLane(op, *bitsA, *bitsB));
  // Constants second, else the older value first: equal sums become one.
  if (commutes(op) && (bitsA || (!bitsB && b < a))) std::swap(a, b);
  if (const auto value = simplified(op, a, b)) return *value;
  if (const auto value = distributed(op, a, b)) return *value;
  return append({.op = op, .a = a, .b = b});
}

ValueId Builder::select(ValueId mask, ValueId a, ValueId b) {
  assert(type(mask) == Type::mask && type(a) == type(b));
  if (a == b) return a;
  if (const auto bits = constantBits(mask)) return *bits != 0 ? a : b;
  if (instructions_[mask].op == Op::maskNot) {
    mask = instructions_[mask].a;
    std::swap(a, b);
  }
  a = side(a, mask, true);
  b = side(b, mask, false);
  if (a == b) return a;
  switch (type(a)) {
    case Type::f32:
      return append({.op = Op::select, .a = mask, .b = a, .c = b});
    case Type::i32:
      return append({.op = Op::selectInt, .a = mask, .b = a, .c = b});
    case Type::mask:
      break;
  }
  return binary(Op::maskOr, binary(Op::maskAnd, mask, a),
                binary(Op::maskAnd, unary(Op::maskNot, mask), b));
}

Program Builder::finish(const Pixel& outputs) const {
  std::vector<bool> needed(instructions_.size(), false);
  for (const ValueId output : outputs) {
    assert(output < instructions_.size() && type(output) == Type::f32);
    needed[output] = true;
  }
  for (std::size_t i = instructions_.size(); i-- > 0;) {
    if (!needed[i]) continue;
    const Instruction& instruction = instructions_[i];
    for (const ValueId operand : {instruction.a, instruction.b, instruction.c}) {
      if (operand != kNoValue) needed[operand] = true;
    }
  }
  Program program;
  std::vector<ValueId> moved(instructions_.size(), kNoValue);
  const auto renamed = [&](ValueId value) { return value == kNoValue ? kNoValue : moved[value]; };
  for (std::size_t i = 0; i < instructions_.size(); ++i) {
    if (!needed[i]) continue;
    Instruction instruction = instructions_[i];
    instruction.a = renamed(instruction.a);
    instruction.b = renamed(instruction.b);
    instruction.c = renamed(instruction.c);
    moved[i] = static_cast<ValueId>(program.instructions.size());
    program.instructions.push_back(instruction);
  }
  std::ranges::transform(outputs, program.outputs.begin(), renamed);
  return program;
}

}  // namespace kelvo::kernel_language
