#include "platform/kernel_language/function_table.h"

#include <algorithm>

#include "platform/kernel_language/text_quote.h"

namespace kelvo::kernel_language {
namespace {

std::vector<ValueType> parameterTypes(const syntax::Function& function) {
  std::vector<ValueType> types;
  types.reserve(function.parameters.size());
  for (const syntax::Parameter& parameter : function.parameters) types.push_back(parameter.type);
  return types;
}

// The number of conversions from int to float that a call needs; none if it does not fit.
std::optional<std::uint32_t> conversions(std::span<const ValueType> parameters,
                                         std::span<const ValueType> arguments) {
  if (parameters.size() != arguments.size()) return std::nullopt;
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    if (parameters[i] == arguments[i]) continue;
    if (parameters[i] != ValueType::floating || arguments[i] != ValueType::integer) {
      return std::nullopt;
    }
    ++count;
  }
  return count;
}

void checkSignature(const syntax::Function& function, Diagnostics& diagnostics) {
  if (function.isKernel && function.result != ValueType::vec4) {
    diagnostics.report(function.position, "the kernel " + quote(function.name) +
                                              " must return vec4, not " +
                                              std::string(typeName(function.result)));
  }
  if (function.result == ValueType::sampler) {
    diagnostics.report(function.position,
                       "the function " + quote(function.name) + " cannot return a sampler");
  }
  for (const syntax::Parameter& parameter : function.parameters) {
    if (parameter.type == ValueType::nothing) {
      diagnostics.report(parameter.position, "a parameter cannot be void");
    }
  }
}

}  // namespace

std::string typeList(std::span<const ValueType> types) {
  std::string list = "(";
  for (std::size_t i = 0; i < types.size(); ++i) {
    if (i > 0) list += ", ";
    list += typeName(types[i]);
  }
  return list + ")";
}

std::string quoteSignature(std::string_view name, std::span<const ValueType> types) {
  std::string quoted = quote(name);
  quoted.pop_back();
  return quoted + typeList(types) + "'";
}

FunctionTable::FunctionTable(const syntax::Source& source, Diagnostics& diagnostics) {
  for (const syntax::Function& function : source.functions) {
    checkSignature(function, diagnostics);
    declare(function, diagnostics);
  }
  for (const FunctionEntry& entry : entries_) {
    if (entry.definition != nullptr) continue;
    diagnostics.report(entry.position, quoteSignature(entry.name, entry.parameters) +
                                           " is declared but not defined");
  }
}

void FunctionTable::declare(const syntax::Function& function, Diagnostics& diagnostics) {
  const auto definition = function.body ? &function : nullptr;
  std::vector<ValueType> types = parameterTypes(function);
  FunctionEntry* known = nullptr;
  if (function.isKernel) {
    const auto found = kernelsByName_.find(function.name);
    if (found != kernelsByName_.end()) known = &entries_[found->second];
  } else {
    for (const std::uint32_t index : functionsByName_[function.name]) {
      if (entries_[index].parameters == types) known = &entries_[index];
    }
  }
  if (known == nullptr) {
    const auto index = static_cast<std::uint32_t>(entries_.size());
    if (function.isKernel) {
      kernelsByName_.emplace(function.name, index);
    } else {
      functionsByName_[function.name].push_back(index);
    }
    entries_.push_back({function.name, function.position, function.isKernel, function.result,
                        std::move(types), definition});
    return;
  }
  const std::string what = function.isKernel ? "the kernel " + quote(function.name)
                                             : quoteSignature(function.name, types);
  if (definition != nullptr && known->definition != nullptr) {
    diagnostics.report(function.position, what + " is already defined on line " +
                                              std::to_string(known->position.line));
  } else if (known->result != function.result || known->parameters != types) {
    diagnostics.report(function.position, what + " is declared differently on line " +
                                              std::to_string(known->position.line));
  } else if (definition != nullptr) {
    known->definition = definition;
    known->position = function.position;
  }
}

std::optional<FunctionTable::Callee> FunctionTable::resolve(std::string_view name,
                                                            std::span<const ValueType> arguments,
                                                            Position position,
                                                            Diagnostics& diagnostics) const {
  std::optional<std::uint32_t> best;
  std::uint32_t bestConversions = 0;
  bool ambiguous = false;
  const auto own = functionsByName_.find(name);
  if (own != functionsByName_.end()) {
    for (const std::uint32_t index : own->second) {
      const auto needed = conversions(entries_[index].parameters, arguments);
      if (!needed) continue;
      if (best && *needed >= bestConversions) {
        ambiguous = ambiguous || *needed == bestConversions;
        continue;
      }
      best = index;
      bestConversions = *needed;
      ambiguous = false;
    }
  }
  if (best && bestConversions == 0) return Callee(*best);
  const std::optional<LibraryMatch> library = matchLibrary(name, arguments);
  if (library && (!best || library->conversions == 0)) return Callee(*library);
  if (best && !ambiguous) return Callee(*best);

  const std::string call = quoteSignature(name, arguments);
  if (best) {
    diagnostics.report(position, call + " fits more than one function");
  } else if (isFunction(name)) {
    diagnostics.report(position, "no function " + quote(name) + " takes " + typeList(arguments));
  } else if (kernelsByName_.contains(name)) {
    diagnostics.report(position, "the kernel " + quote(name) + " cannot be called");
  } else {
    diagnostics.report(position, "the function " + quote(name) + " is not declared");
  }
  return std::nullopt;
}

bool FunctionTable::isFunction(std::string_view name) const {
  return functionsByName_.contains(name) || isLibraryName(name);
}

}  // namespace kelvo::kernel_language
