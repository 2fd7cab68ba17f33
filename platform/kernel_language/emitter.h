#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/kernel_language/checked_source.h"
#include "platform/kernel_language/ir.h"
#include "platform/kernel_language/kernel.h"

namespace kelvo::kernel_language {

// A value of the language as instructions: one for each component. Of a sampler the first holds the
// index of the kernel's parameter.
struct EmittedValue {
  ValueType type = ValueType::nothing;
  std::array<ValueId, 4> components{kNoValue, kNoValue, kNoValue, kNoValue};

  // A scalar stands for all components of a vector beside it.
  [[nodiscard]] ValueId component(std::uint32_t index) const {
    return components[isVector(type) ? index : 0];
  }
};

// Writes instructions into a builder and counts the steps, so that no kernel can ask for a program
// without end. Beyond the limit whoever writes has to stop.
class InstructionWriter {
 public:
  explicit InstructionWriter(Builder& builder);

  [[nodiscard]] bool overflowed() const;
  void spend(std::uint64_t steps) { steps_ += steps; }

  ValueId constant(float value);
  ValueId constant(std::int32_t value);
  ValueId constant(bool value) { return value ? true_ : false_; }
  ValueId unary(Op op, ValueId a);
  ValueId binary(Op op, ValueId a, ValueId b);
  ValueId select(ValueId mask, ValueId a, ValueId b);

  [[nodiscard]] bool isTrue(ValueId mask) const { return mask == true_; }
  [[nodiscard]] bool isFalse(ValueId mask) const { return mask == false_; }

  Builder& builder() { return builder_; }

 private:
  Builder& builder_;
  ValueId true_;
  ValueId false_;
  std::uint64_t steps_ = 0;
};

// Operators and conversions, on values of the types that the checker lets through.
EmittedValue emitBinary(InstructionWriter& writer, BinaryOperator op, const EmittedValue& left,
                        const EmittedValue& right);
EmittedValue emitNegate(InstructionWriter& writer, const EmittedValue& operand);
EmittedValue emitConversion(InstructionWriter& writer, const EmittedValue& operand, ValueType type);
EmittedValue emitSelect(InstructionWriter& writer, ValueId mask, const EmittedValue& whenTrue,
                        const EmittedValue& whenFalse);
// 0 or false in every component.
EmittedValue emitZero(InstructionWriter& writer, ValueType type);

// Calls of library functions. Reads each sampler under the pixel only once.
class LibraryEmitter {
 public:
  LibraryEmitter(InstructionWriter& writer, std::span<const KernelArgument> arguments)
      : writer_(writer), arguments_(arguments), here_(arguments.size()) {}

  EmittedValue call(LibraryFunction function, ValueType result,
                    std::span<const EmittedValue> arguments);

 private:
  using Values = std::span<const EmittedValue>;

  template <typename Compute>
  EmittedValue componentwise(ValueType result, Compute compute);

  EmittedValue sample(const EmittedValue& sampler, const EmittedValue& coordinate);
  EmittedValue destCoord();
  EmittedValue samplerExtent(const EmittedValue& sampler);
  EmittedValue scaleColor(const EmittedValue& pixel, bool divide);
  EmittedValue smoothstep(Values arguments, ValueType result);
  ValueId clamp(ValueId x, ValueId low, ValueId high);
  ValueId dot(const EmittedValue& a, const EmittedValue& b);
  ValueId length(const EmittedValue& value);
  EmittedValue difference(const EmittedValue& a, const EmittedValue& b);
  EmittedValue scaled(const EmittedValue& value, float factor);

  InstructionWriter& writer_;
  std::span<const KernelArgument> arguments_;
  std::vector<std::optional<Pixel>> here_;
};

}  // namespace kelvo::kernel_language
