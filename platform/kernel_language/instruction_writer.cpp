#include "platform/kernel_language/emitter.h"
#include "platform/kernel_language/source_limits.h"

namespace kelvo::kernel_language {

InstructionWriter::InstructionWriter(Builder& builder)
    : builder_(builder), true_(builder.constantMask(true)), false_(builder.constantMask(false)) {}

bool InstructionWriter::overflowed() const { return steps_ > kMaximumEmissionSteps; }

ValueId InstructionWriter::constant(float value) { return builder_.constant(value); }
ValueId InstructionWriter::constant(std::int32_t value) { return builder_.constantInt(value); }

ValueId InstructionWriter::unary(Op op, ValueId a) {
  ++steps_;
  return builder_.unary(op, a);
}

ValueId InstructionWriter::binary(Op op, ValueId a, ValueId b) {
  ++steps_;
  return builder_.binary(op, a, b);
}

ValueId InstructionWriter::select(ValueId mask, ValueId a, ValueId b) {
  if (a == b || mask == true_) return a;
  if (mask == false_) return b;
  ++steps_;
  return builder_.select(mask, a, b);
}

}  // namespace kelvo::kernel_language
