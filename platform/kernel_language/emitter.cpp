#include "platform/kernel_language/emitter.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/kernel_language/text_quote.h"

namespace kelvo::kernel_language {
namespace {

using Ids = std::array<ValueId, 4>;
constexpr Ids kNoIds{kNoValue, kNoValue, kNoValue, kNoValue};

// One function being carried out. A branch works on a copy, and the copies are merged behind it,
// component by component. Where a pixel has returned already, its variables no longer matter.
struct Frame {
  std::vector<Ids> slots;
  ValueId returned = kNoValue;  // mask
  Ids result = kNoIds;          // valid where `returned`
};

class KernelEmitter {
 public:
  KernelEmitter(const CheckedSource& source, Builder& builder,
                std::span<const KernelArgument> arguments)
      : source_(source), writer_(builder), library_(writer_, arguments), arguments_(arguments) {}

  Result<Pixel> run(std::size_t function) {
    const checked::Function& kernel = source_.functions[function];
    frame_.returned = writer_.constant(false);
    for (const checked::Global& global : source_.globals) globals_.push_back(emit(*global.value));
    std::vector<EmittedValue> values;
    for (std::size_t i = 0; i < kernel.parameters.size(); ++i) {
      values.push_back(argumentValue(i, kernel.parameters[i].type));
    }
    const EmittedValue result = call(kernel, values);
    if (writer_.overflowed())
      return Error{"the kernel " + quote(kernel.name) + " needs too many instructions"};
    return result.components;
  }

 private:
  EmittedValue argumentValue(std::size_t index, ValueType type) {
    if (type == ValueType::sampler) return {type, {static_cast<ValueId>(index)}};
    const auto& numbers = std::get<std::vector<float>>(arguments_[index]);
    const auto number = [&](std::size_t i) { return i < numbers.size() ? numbers[i] : 0.0F; };
    EmittedValue value{isFloating(type) ? type : ValueType::floating};
    for (std::uint32_t i = 0; i < componentCount(type); ++i) {
      value.components[i] = writer_.constant(number(i));
    }
    return isFloating(type) ? value : emitConversion(writer_, value, type);
  }

  EmittedValue call(const checked::Function& function, std::span<const EmittedValue> arguments) {
    Frame caller = std::exchange(frame_, Frame{});
    frame_.returned = writer_.constant(false);
    frame_.slots.reserve(function.slots.size());
    for (const EmittedValue& argument : arguments) frame_.slots.push_back(argument.components);
    slotTypes_.push_back(&function);
    execute(function.body);
    slotTypes_.pop_back();
    EmittedValue result{function.result, frame_.result};
    // A function that was cut short by the size limit.
    if (result.components[0] == kNoValue) result = emitZero(writer_, function.result);
    frame_ = std::move(caller);
    return result;
  }

  // Statements

  void execute(const checked::Block& block) {
    for (const auto& statement : block.statements) {
      if (writer_.isTrue(frame_.returned) || writer_.overflowed()) return;
      writer_.spend(1);
      std::visit([&](const auto& node) { execute(node); }, statement->node);
    }
  }

  void execute(const checked::Evaluate& node) { emit(*node.expression); }

  void execute(const checked::Declare& node) {
    const ValueType type = slotTypes_.back()->slots[node.slot];
    const EmittedValue value = node.value ? emit(*node.value) : emitZero(writer_, type);
    // Slots of branches that were left are not counted up here.
    frame_.slots.resize(std::max<std::size_t>(frame_.slots.size(), node.slot + 1U), kNoIds);
    frame_.slots[node.slot] = value.components;
  }

  void execute(const checked::Return& node) {
    if (node.value) {
      const EmittedValue value = emit(*node.value);
      for (std::uint32_t i = 0; i < componentCount(value.type); ++i) {
        ValueId& result = frame_.result[i];
        result = writer_.isFalse(frame_.returned)
                     ? value.components[i]
                     : writer_.select(frame_.returned, result, value.components[i]);
      }
    }
    frame_.returned = writer_.constant(true);
  }

  void execute(const checked::If& node) {
    const ValueId condition = emit(*node.condition).components[0];
    branch(
        condition, [&] { execute(node.whenTrue); }, [&] { execute(node.whenFalse); });
  }

  template <typename WhenTrue, typename WhenFalse>
  void branch(ValueId condition, WhenTrue whenTrue, WhenFalse whenFalse) {
    if (writer_.isTrue(condition)) return whenTrue();
    if (writer_.isFalse(condition)) return whenFalse();
    const Frame before = frame_;
    writer_.spend(before.slots.size());
    whenTrue();
    Frame afterTrue = std::exchange(frame_, before);
    whenFalse();
    merge(condition, std::move(afterTrue), before.slots.size());
  }

  // frame_ := condition ? whenTrue : frame_. Variables beyond `visible` belonged to the branches.
  void merge(ValueId condition, Frame whenTrue, std::size_t visible) {
    whenTrue.slots.resize(visible, kNoIds);
    frame_.slots.resize(visible, kNoIds);
    if (writer_.isTrue(frame_.returned)) {
      frame_.slots = std::move(whenTrue.slots);
    } else if (!writer_.isTrue(whenTrue.returned)) {
      for (std::size_t i = 0; i < visible; ++i) {
        selectAll(condition, whenTrue.slots[i], frame_.slots[i]);
      }
    }
    if (writer_.isFalse(frame_.returned)) {
      frame_.result = whenTrue.result;
    } else if (!writer_.isFalse(whenTrue.returned)) {
      selectAll(condition, whenTrue.result, frame_.result);
    }
    frame_.returned = selectMask(condition, whenTrue.returned, frame_.returned);
  }

  // whenFalse := condition ? whenTrue : whenFalse
  void selectAll(ValueId condition, const Ids& whenTrue, Ids& whenFalse) {
    for (std::size_t i = 0; i < whenTrue.size(); ++i) {
      if (whenTrue[i] == whenFalse[i]) continue;
      whenFalse[i] = writer_.select(condition, whenTrue[i], whenFalse[i]);
    }
  }

  ValueId selectMask(ValueId condition, ValueId whenTrue, ValueId whenFalse) {
    if (writer_.isTrue(whenTrue) && writer_.isFalse(whenFalse)) return condition;
    if (writer_.isFalse(whenTrue) && writer_.isTrue(whenFalse)) {
      return writer_.unary(Op::maskNot, condition);
    }
    return writer_.select(condition, whenTrue, whenFalse);
  }

  // Expressions

  EmittedValue emit(const checked::Expression& expression) {
    return std::visit([&](const auto& node) { return emit(expression, node); }, expression.node);
  }

  std::vector<EmittedValue> emitAll(const std::vector<checked::ExpressionPtr>& expressions) {
    std::vector<EmittedValue> values;
    values.reserve(expressions.size());
    for (const auto& expression : expressions) values.push_back(emit(*expression));
    return values;
  }

  EmittedValue emit(const checked::Expression& expression, const checked::Constant& node) {
    const ValueId id =
        std::visit([&](const auto& value) { return writer_.constant(value); }, node.value);
    return {expression.type, {id}};
  }

  EmittedValue emit(const checked::Expression& expression, const checked::ReadVariable& node) {
    return {expression.type, frame_.slots[node.slot]};
  }

  EmittedValue emit(const checked::Expression&, const checked::ReadGlobal& node) {
    return globals_[node.index];
  }

  EmittedValue emit(const checked::Expression& expression, const checked::Convert& node) {
    return emitConversion(writer_, emit(*node.operand), expression.type);
  }

  EmittedValue emit(const checked::Expression& expression, const checked::Construct& node) {
    EmittedValue result{expression.type};
    const std::uint32_t size = componentCount(expression.type);
    const std::vector<EmittedValue> parts = emitAll(node.parts);
    if (parts.size() == 1 && !isVector(parts[0].type)) {
      std::fill_n(result.components.begin(), size, parts[0].components[0]);
      return result;
    }
    std::uint32_t filled = 0;
    for (const EmittedValue& part : parts) {
      for (std::uint32_t i = 0; i < componentCount(part.type) && filled < size; ++i) {
        result.components[filled++] = part.components[i];
      }
    }
    return result;
  }

  EmittedValue emit(const checked::Expression& expression, const checked::Swizzle& node) {
    const EmittedValue operand = emit(*node.operand);
    EmittedValue result{expression.type};
    for (std::uint32_t i = 0; i < node.components.count; ++i) {
      result.components[i] = operand.components[node.components.indices[i]];
    }
    return result;
  }

  EmittedValue emit(const checked::Expression& expression, const checked::Index& node) {
    const EmittedValue operand = emit(*node.operand);
    const ValueId index = emit(*node.index).components[0];
    return {expression.type, {element(operand.components, componentCount(operand.type), index)}};
  }

  EmittedValue emit(const checked::Expression&, const checked::Negate& node) {
    return emitNegate(writer_, emit(*node.operand));
  }

  EmittedValue emit(const checked::Expression& expression, const checked::Not& node) {
    return {expression.type, {writer_.unary(Op::maskNot, emit(*node.operand).components[0])}};
  }

  EmittedValue emit(const checked::Expression&, const checked::Binary& node) {
    const EmittedValue left = emit(*node.left);
    return emitBinary(writer_, node.op, left, emit(*node.right));
  }

  EmittedValue emit(const checked::Expression& expression, const checked::ShortCircuit& node) {
    const ValueId left = emit(*node.left).components[0];
    const EmittedValue decided{expression.type, {writer_.constant(!node.isAnd)}};
    const auto right = [&] { return emit(*node.right); };
    if (node.right->assigns) {
      const auto known = [&] { return decided; };
      return node.isAnd ? choose(left, right, known) : choose(left, known, right);
    }
    if (left == decided.components[0]) return decided;
    const Op op = node.isAnd ? Op::maskAnd : Op::maskOr;
    return {expression.type, {writer_.binary(op, left, right().components[0])}};
  }

  EmittedValue emit(const checked::Expression&, const checked::Conditional& node) {
    const ValueId condition = emit(*node.condition).components[0];
    const auto whenTrue = [&] { return emit(*node.whenTrue); };
    const auto whenFalse = [&] { return emit(*node.whenFalse); };
    if (node.whenTrue->assigns || node.whenFalse->assigns) {
      return choose(condition, whenTrue, whenFalse);
    }
    if (writer_.isTrue(condition)) return whenTrue();
    if (writer_.isFalse(condition)) return whenFalse();
    const EmittedValue first = whenTrue();
    return emitSelect(writer_, condition, first, whenFalse());
  }

  // Both sides, each with its own assignments.
  template <typename WhenTrue, typename WhenFalse>
  EmittedValue choose(ValueId condition, WhenTrue whenTrue, WhenFalse whenFalse) {
    std::optional<EmittedValue> first;
    std::optional<EmittedValue> second;
    branch(
        condition, [&] { first = whenTrue(); }, [&] { second = whenFalse(); });
    if (!first) return *second;
    if (!second) return *first;
    return emitSelect(writer_, condition, *first, *second);
  }

  EmittedValue emit(const checked::Expression& expression, const checked::Assign& node) {
    EmittedValue value = emit(*node.value);
    const ValueId index = node.index ? emit(*node.index).components[0] : kNoValue;
    Ids& variable = frame_.slots[node.slot];
    EmittedValue old{expression.type};
    Ids chosen = kNoIds;
    for (std::uint32_t i = 0; i < node.components.count; ++i) {
      chosen[i] = variable[node.components.indices[i]];
    }
    old.components = chosen;
    if (node.index) old.components = {element(chosen, node.components.count, index)};
    if (node.op) value = emitBinary(writer_, *node.op, old, value);
    for (std::uint32_t i = 0; i < node.components.count; ++i) {
      ValueId& target = variable[node.components.indices[i]];
      target = node.index ? writer_.select(isElement(index, i, node.components.count),
                                           value.components[0], target)
                          : value.components[i];
    }
    return node.givesOldValue ? old : value;
  }

  // values[index], the index limited to the vector.
  ValueId element(const Ids& values, std::uint32_t count, ValueId index) {
    ValueId result = values[count - 1];
    for (std::uint32_t i = count - 1; i-- > 0;) {
      const ValueId below = writer_.binary(Op::intLess, index, next(i));
      result = writer_.select(below, values[i], result);
    }
    return result;
  }

  // True where the limited index is i.
  ValueId isElement(ValueId index, std::uint32_t i, std::uint32_t count) {
    if (i == 0) return writer_.binary(Op::intLess, index, next(i));
    if (i + 1 < count) return writer_.binary(Op::intEqual, index, next(i - 1));
    return writer_.unary(Op::maskNot, writer_.binary(Op::intLess, index, next(i - 1)));
  }

  ValueId next(std::uint32_t i) { return writer_.constant(static_cast<std::int32_t>(i + 1)); }

  EmittedValue emit(const checked::Expression&, const checked::CallFunction& node) {
    const std::vector<EmittedValue> arguments = emitAll(node.arguments);
    return call(source_.functions[node.function], arguments);
  }

  EmittedValue emit(const checked::Expression& expression, const checked::CallLibrary& node) {
    const std::vector<EmittedValue> arguments = emitAll(node.arguments);
    return library_.call(node.function, expression.type, arguments);
  }

  const CheckedSource& source_;
  InstructionWriter writer_;
  LibraryEmitter library_;
  std::span<const KernelArgument> arguments_;
  std::vector<EmittedValue> globals_;
  std::vector<const checked::Function*> slotTypes_;
  Frame frame_;
};

std::string ordinal(std::size_t index, const Parameter& parameter) {
  return "argument " + std::to_string(index + 1) + " (" + quote(parameter.name) + ")";
}

}  // namespace

Result<Pixel> emitKernel(const Kernel& kernel, Builder& builder,
                         std::span<const KernelArgument> arguments) {
  const std::span<const Parameter> parameters = kernel.parameters();
  if (arguments.size() != parameters.size()) {
    return Error{"the kernel " + quote(kernel.name()) + " takes " +
                 std::to_string(parameters.size()) + " arguments, not " +
                 std::to_string(arguments.size())};
  }
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const bool isSampler = std::holds_alternative<SamplerArgument>(arguments[i]);
    if (isSampler != (parameters[i].type == ParameterType::sampler)) {
      return Error{ordinal(i, parameters[i]) + " of the kernel " + quote(kernel.name()) +
                   (isSampler ? " must be a number" : " must be a sampler")};
    }
  }
  return KernelEmitter(kernel.source(), builder, arguments).run(kernel.function());
}

}  // namespace kelvo::kernel_language
