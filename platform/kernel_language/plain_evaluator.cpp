#include <algorithm>
#include <vector>

#include "platform/kernel_language/checked_source.h"
#include "platform/kernel_language/kernel.h"
#include "platform/kernel_language/plain_library.h"
#include "platform/kernel_language/plain_value.h"

namespace kelvo::kernel_language {
namespace {

PlainValue zeroOf(ValueType type) {
  PlainValue value;
  value.type = type;
  return value;
}

std::uint32_t limitedIndex(const PlainValue& index, std::uint32_t count) {
  return static_cast<std::uint32_t>(
      std::clamp(index.whole, std::int32_t{0}, static_cast<std::int32_t>(count) - 1));
}

class PlainEvaluator {
 public:
  PlainEvaluator(const CheckedSource& source, const PlainPixelContext& context)
      : source_(source), context_(context) {}

  PlainValue run(std::size_t function) {
    const checked::Function& kernel = source_.functions[function];
    for (const checked::Global& global : source_.globals) {
      globals_.push_back(evaluate(*global.value));
    }
    std::vector<PlainValue> arguments;
    for (std::size_t i = 0; i < kernel.parameters.size(); ++i) {
      arguments.push_back(argumentValue(i, kernel.parameters[i].type));
    }
    return call(kernel, std::move(arguments));
  }

 private:
  PlainValue argumentValue(std::size_t index, ValueType type) {
    PlainValue value = zeroOf(type);
    value.sampler = index;
    if (type == ValueType::sampler || index >= context_.arguments.size()) return value;
    const std::vector<float>& numbers = context_.arguments[index];
    const float first = numbers.empty() ? 0.0F : numbers[0];
    if (!isFloating(type)) return plainConversion(PlainValue::of(first), type);
    for (std::uint32_t i = 0; i < componentCount(type) && i < numbers.size(); ++i) {
      value.numbers[i] = numbers[i];
    }
    return value;
  }

  PlainValue call(const checked::Function& function, std::vector<PlainValue> arguments) {
    std::swap(variables_, arguments);
    variables_.resize(function.slots.size());
    for (std::size_t i = function.parameters.size(); i < function.slots.size(); ++i) {
      variables_[i] = zeroOf(function.slots[i]);
    }
    returned_ = false;
    result_ = zeroOf(function.result);
    execute(function.body);
    returned_ = false;
    std::swap(variables_, arguments);
    return result_;
  }

  void execute(const checked::Block& block) {
    for (const auto& statement : block.statements) {
      std::visit([&](const auto& node) { execute(node); }, statement->node);
      if (returned_) return;
    }
  }

  void execute(const checked::Evaluate& node) { evaluate(*node.expression); }

  void execute(const checked::Declare& node) {
    const ValueType type = variables_[node.slot].type;
    variables_[node.slot] = node.value ? evaluate(*node.value) : zeroOf(type);
  }

  void execute(const checked::If& node) {
    execute(evaluate(*node.condition).truth ? node.whenTrue : node.whenFalse);
  }

  void execute(const checked::Return& node) {
    if (node.value) result_ = evaluate(*node.value);
    returned_ = true;
  }

  PlainValue evaluate(const checked::Expression& expression) {
    return std::visit([&](const auto& node) { return evaluate(expression, node); },
                      expression.node);
  }

  std::vector<PlainValue> evaluateAll(const std::vector<checked::ExpressionPtr>& expressions) {
    std::vector<PlainValue> values;
    values.reserve(expressions.size());
    for (const auto& expression : expressions) values.push_back(evaluate(*expression));
    return values;
  }

  PlainValue evaluate(const checked::Expression&, const checked::Constant& node) {
    return std::visit([](auto value) { return PlainValue::of(value); }, node.value);
  }

  PlainValue evaluate(const checked::Expression&, const checked::ReadVariable& node) {
    return variables_[node.slot];
  }

  PlainValue evaluate(const checked::Expression&, const checked::ReadGlobal& node) {
    return globals_[node.index];
  }

  PlainValue evaluate(const checked::Expression& expression, const checked::Convert& node) {
    return plainConversion(evaluate(*node.operand), expression.type);
  }

  PlainValue evaluate(const checked::Expression& expression, const checked::Construct& node) {
    PlainValue result = zeroOf(expression.type);
    std::vector<float> given;
    for (const PlainValue& part : evaluateAll(node.parts)) {
      for (std::uint32_t i = 0; i < componentCount(part.type); ++i) {
        given.push_back(part.numbers[i]);
      }
    }
    for (std::uint32_t i = 0; i < componentCount(expression.type); ++i) {
      result.numbers[i] = given[given.size() == 1 ? 0 : i];
    }
    return result;
  }

  PlainValue evaluate(const checked::Expression& expression, const checked::Swizzle& node) {
    const PlainValue operand = evaluate(*node.operand);
    PlainValue result = zeroOf(expression.type);
    for (std::uint32_t i = 0; i < node.components.count; ++i) {
      result.numbers[i] = operand.numbers[node.components.indices[i]];
    }
    return result;
  }

  PlainValue evaluate(const checked::Expression&, const checked::Index& node) {
    const PlainValue operand = evaluate(*node.operand);
    const PlainValue index = evaluate(*node.index);
    return PlainValue::of(operand.numbers[limitedIndex(index, componentCount(operand.type))]);
  }

  PlainValue evaluate(const checked::Expression&, const checked::Negate& node) {
    return plainNegate(evaluate(*node.operand));
  }

  PlainValue evaluate(const checked::Expression&, const checked::Not& node) {
    return PlainValue::of(!evaluate(*node.operand).truth);
  }

  PlainValue evaluate(const checked::Expression&, const checked::Binary& node) {
    const PlainValue left = evaluate(*node.left);
    return plainBinary(node.op, left, evaluate(*node.right));
  }

  PlainValue evaluate(const checked::Expression&, const checked::ShortCircuit& node) {
    const PlainValue left = evaluate(*node.left);
    return left.truth == node.isAnd ? evaluate(*node.right) : left;
  }

  PlainValue evaluate(const checked::Expression&, const checked::Conditional& node) {
    return evaluate(evaluate(*node.condition).truth ? *node.whenTrue : *node.whenFalse);
  }

  PlainValue evaluate(const checked::Expression& expression, const checked::Assign& node) {
    PlainValue value = evaluate(*node.value);
    checked::Components target = node.components;
    if (node.index) {
      const std::uint32_t index = limitedIndex(evaluate(*node.index), target.count);
      target = {1, {target.indices[index]}};
    }
    PlainValue& variable = variables_[node.slot];
    PlainValue old = variable;
    if (isFloating(expression.type)) {
      old = zeroOf(expression.type);
      for (std::uint32_t i = 0; i < target.count; ++i) {
        old.numbers[i] = variable.numbers[target.indices[i]];
      }
    }
    if (node.op) value = plainBinary(*node.op, old, value);
    if (isFloating(expression.type)) {
      for (std::uint32_t i = 0; i < target.count; ++i) {
        variable.numbers[target.indices[i]] = value.numbers[i];
      }
    } else {
      variable = value;
    }
    return node.givesOldValue ? old : value;
  }

  PlainValue evaluate(const checked::Expression&, const checked::CallFunction& node) {
    return call(source_.functions[node.function], evaluateAll(node.arguments));
  }

  PlainValue evaluate(const checked::Expression&, const checked::CallLibrary& node) {
    return plainLibraryCall(node.function, evaluateAll(node.arguments), context_);
  }

  const CheckedSource& source_;
  const PlainPixelContext& context_;
  std::vector<PlainValue> globals_;
  std::vector<PlainValue> variables_;  // of the function being carried out
  PlainValue result_;
  bool returned_ = false;
};

}  // namespace

std::array<float, 4> evaluatePlainly(const Kernel& kernel, const PlainPixelContext& context) {
  return PlainEvaluator(kernel.source(), context).run(kernel.function()).numbers;
}

}  // namespace kelvo::kernel_language
