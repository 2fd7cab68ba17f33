#include "platform/kernel_language/emitter.h"

namespace kelvo::kernel_language {
namespace {

Op floatOp(BinaryOperator op) {
  switch (op) {
    case BinaryOperator::add:
      return Op::add;
    case BinaryOperator::subtract:
      return Op::sub;
    case BinaryOperator::multiply:
      return Op::mul;
    default:
      return Op::div;
  }
}

Op intOp(BinaryOperator op) {
  switch (op) {
    case BinaryOperator::add:
      return Op::intAdd;
    case BinaryOperator::subtract:
      return Op::intSub;
    case BinaryOperator::multiply:
      return Op::intMul;
    case BinaryOperator::divide:
      return Op::intDiv;
    default:
      return Op::intRemainder;
  }
}

ValueId compareInts(InstructionWriter& writer, BinaryOperator op, ValueId a, ValueId b) {
  switch (op) {
    case BinaryOperator::less:
      return writer.binary(Op::intLess, a, b);
    case BinaryOperator::greater:
      return writer.binary(Op::intLess, b, a);
    case BinaryOperator::lessEqual:
      return writer.unary(Op::maskNot, writer.binary(Op::intLess, b, a));
    case BinaryOperator::greaterEqual:
      return writer.unary(Op::maskNot, writer.binary(Op::intLess, a, b));
    case BinaryOperator::equal:
      return writer.binary(Op::intEqual, a, b);
    default:
      return writer.unary(Op::maskNot, writer.binary(Op::intEqual, a, b));
  }
}

ValueId compareFloats(InstructionWriter& writer, BinaryOperator op, ValueId a, ValueId b) {
  switch (op) {
    case BinaryOperator::less:
      return writer.binary(Op::less, a, b);
    case BinaryOperator::greater:
      return writer.binary(Op::less, b, a);
    case BinaryOperator::lessEqual:
      return writer.binary(Op::lessEqual, a, b);
    case BinaryOperator::greaterEqual:
      return writer.binary(Op::lessEqual, b, a);
    case BinaryOperator::equal:
      return writer.binary(Op::equal, a, b);
    default:
      return writer.binary(Op::notEqual, a, b);
  }
}

bool isComparison(BinaryOperator op) {
  return op >= BinaryOperator::less && op <= BinaryOperator::notEqual;
}

// All components equal, or any of them not.
EmittedValue compareVectors(InstructionWriter& writer, BinaryOperator op, const EmittedValue& left,
                            const EmittedValue& right) {
  const Op join = op == BinaryOperator::equal ? Op::maskAnd : Op::maskOr;
  ValueId all = compareFloats(writer, op, left.components[0], right.components[0]);
  for (std::uint32_t i = 1; i < componentCount(left.type); ++i) {
    all = writer.binary(join, all,
                        compareFloats(writer, op, left.components[i], right.components[i]));
  }
  return {ValueType::boolean, {all}};
}

}  // namespace

EmittedValue emitBinary(InstructionWriter& writer, BinaryOperator op, const EmittedValue& left,
                        const EmittedValue& right) {
  const ValueId a = left.components[0];
  const ValueId b = right.components[0];
  if (left.type == ValueType::integer) {
    if (isComparison(op)) return {ValueType::boolean, {compareInts(writer, op, a, b)}};
    return {ValueType::integer, {writer.binary(intOp(op), a, b)}};
  }
  if (left.type == ValueType::boolean) {
    const ValueId differ = writer.binary(Op::maskXor, a, b);
    return {ValueType::boolean,
            {op == BinaryOperator::equal ? writer.unary(Op::maskNot, differ) : differ}};
  }
  if (isComparison(op)) return compareVectors(writer, op, left, right);
  EmittedValue result{isVector(left.type) ? left.type : right.type};
  for (std::uint32_t i = 0; i < componentCount(result.type); ++i) {
    result.components[i] = writer.binary(floatOp(op), left.component(i), right.component(i));
  }
  return result;
}

EmittedValue emitNegate(InstructionWriter& writer, const EmittedValue& operand) {
  const Op op = operand.type == ValueType::integer ? Op::intNeg : Op::neg;
  EmittedValue result{operand.type};
  for (std::uint32_t i = 0; i < componentCount(operand.type); ++i) {
    result.components[i] = writer.unary(op, operand.components[i]);
  }
  return result;
}

EmittedValue emitConversion(InstructionWriter& writer, const EmittedValue& operand,
                            ValueType type) {
  const ValueId from = operand.components[0];
  const bool isBool = operand.type == ValueType::boolean;
  const bool isInt = operand.type == ValueType::integer;
  switch (type) {
    case ValueType::floating:
      return {type,
              {isBool ? writer.select(from, writer.constant(1.0F), writer.constant(0.0F))
                      : writer.unary(Op::intToFloat, from)}};
    case ValueType::integer:
      return {type,
              {isBool ? writer.select(from, writer.constant(1), writer.constant(0))
                      : writer.unary(Op::floatToInt, from)}};
    default:
      return {type,
              {isInt ? compareInts(writer, BinaryOperator::notEqual, from, writer.constant(0))
                     : writer.binary(Op::notEqual, from, writer.constant(0.0F))}};
  }
}

EmittedValue emitSelect(InstructionWriter& writer, ValueId mask, const EmittedValue& whenTrue,
                        const EmittedValue& whenFalse) {
  EmittedValue result{whenTrue.type};
  for (std::uint32_t i = 0; i < componentCount(result.type); ++i) {
    result.components[i] = writer.select(mask, whenTrue.components[i], whenFalse.components[i]);
  }
  return result;
}

EmittedValue emitZero(InstructionWriter& writer, ValueType type) {
  EmittedValue result{type};
  for (std::uint32_t i = 0; i < componentCount(type); ++i) {
    result.components[i] = type == ValueType::integer   ? writer.constant(0)
                           : type == ValueType::boolean ? writer.constant(false)
                                                        : writer.constant(0.0F);
  }
  return result;
}

}  // namespace kelvo::kernel_language
