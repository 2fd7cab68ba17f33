#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/kernel_language/value_type.h"

namespace kelvo::kernel_language {

struct Variable {
  ValueType type = ValueType::nothing;
  bool isConst = false;
  bool isGlobal = false;
  std::uint32_t slot = 0;  // or the index of the global
};

// What each name stands for; an inner scope hides the outer ones.
class VariableScopes {
 public:
  VariableScopes() : scopes_(1) {}

  void enter() { scopes_.emplace_back(); }
  void leave() { scopes_.pop_back(); }

  // False if the innermost scope has that name already.
  bool declare(std::string_view name, const Variable& variable) {
    return scopes_.back().emplace(name, variable).second;
  }

  [[nodiscard]] const Variable* find(std::string_view name) const {
    for (auto scope = scopes_.rbegin(); scope != scopes_.rend(); ++scope) {
      const auto found = scope->find(name);
      if (found != scope->end()) return &found->second;
    }
    return nullptr;
  }

 private:
  std::vector<std::unordered_map<std::string_view, Variable>> scopes_;
};

}  // namespace kelvo::kernel_language
