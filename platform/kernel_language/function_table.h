#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "platform/kernel_language/library.h"
#include "platform/kernel_language/syntax.h"

namespace kelvo::kernel_language {

struct FunctionEntry {
  std::string_view name;
  Position position;
  bool isKernel = false;
  ValueType result = ValueType::nothing;
  std::vector<ValueType> parameters;
  const syntax::Function* definition = nullptr;  // empty while only declared
};

// The source's own functions, all known before any body is looked at, so that their order in the
// text does not matter.
class FunctionTable {
 public:
  // Adds what `source` declares and reports clashes.
  FunctionTable(const syntax::Source& source, Diagnostics& diagnostics);

  [[nodiscard]] std::span<const FunctionEntry> entries() const { return entries_; }

  // What a call means: a function of the source (its index) or of the library. An exact match goes
  // before one with conversions, and the source's own functions before the library's.
  using Callee = std::variant<std::uint32_t, LibraryMatch>;
  std::optional<Callee> resolve(std::string_view name, std::span<const ValueType> arguments,
                                Position position, Diagnostics& diagnostics) const;

  // True if something of that name can be called.
  [[nodiscard]] bool isFunction(std::string_view name) const;

 private:
  void declare(const syntax::Function& function, Diagnostics& diagnostics);

  std::vector<FunctionEntry> entries_;
  std::unordered_map<std::string_view, std::vector<std::uint32_t>> functionsByName_;
  std::unordered_map<std::string_view, std::uint32_t> kernelsByName_;
};

// "(float, vec2)"
std::string typeList(std::span<const ValueType> types);
// "'name(float, vec2)'"
std::string quoteSignature(std::string_view name, std::span<const ValueType> types);

}  // namespace kelvo::kernel_language
