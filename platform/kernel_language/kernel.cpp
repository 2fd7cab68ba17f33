#include "platform/kernel_language/kernel.h"

#include <utility>

#include "platform/kernel_language/checked_source.h"
#include "platform/kernel_language/checker.h"
#include "platform/kernel_language/diagnostics.h"
#include "platform/kernel_language/lexer.h"
#include "platform/kernel_language/parser.h"
#include "platform/kernel_language/source_limits.h"

namespace kelvo::kernel_language {
namespace {

ParameterType parameterType(ValueType type) {
  switch (type) {
    case ValueType::vec2:
      return ParameterType::vec2;
    case ValueType::vec3:
      return ParameterType::vec3;
    case ValueType::vec4:
      return ParameterType::vec4;
    case ValueType::integer:
      return ParameterType::integer;
    case ValueType::boolean:
      return ParameterType::boolean;
    case ValueType::sampler:
      return ParameterType::sampler;
    default:
      return ParameterType::floating;
  }
}

std::shared_ptr<const CheckedSource> compileInto(std::string_view text, Diagnostics& diagnostics) {
  if (text.size() > kMaximumSourceBytes) {
    diagnostics.report(
        {}, "the source is longer than " + std::to_string(kMaximumSourceBytes) + " bytes");
    return nullptr;
  }
  const std::vector<Token> tokens = tokenize(text, diagnostics);
  const syntax::Source source = parse(tokens, diagnostics);
  // Names and types of half a source would only be reported as missing.
  if (!diagnostics.empty()) return nullptr;
  return check(source, diagnostics);
}

}  // namespace

Kernel::Kernel(std::shared_ptr<const CheckedSource> source, std::size_t function)
    : source_(std::move(source)), function_(function) {
  const checked::Function& checked = source_->functions[function_];
  name_ = checked.name;
  for (const checked::Parameter& parameter : checked.parameters) {
    parameters_.push_back({parameterType(parameter.type), parameter.name});
  }
}

CompiledSource compileSource(std::string_view text) {
  Diagnostics diagnostics;
  const std::shared_ptr<const CheckedSource> source = compileInto(text, diagnostics);
  CompiledSource result;
  if (source) {
    for (std::size_t i = 0; i < source->functions.size(); ++i) {
      if (source->functions[i].isKernel) {
        result.kernels.push_back(std::make_shared<Kernel>(source, i));
      }
    }
  }
  result.diagnostics = std::move(diagnostics).take();
  return result;
}

}  // namespace kelvo::kernel_language
