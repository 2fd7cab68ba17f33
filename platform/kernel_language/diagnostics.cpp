#include "platform/kernel_language/diagnostics.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace kelvo::kernel_language {
namespace {
constexpr std::size_t kMaximumReports = 20;
}  // namespace

void Diagnostics::report(Position position, std::string message) {
  if (full_) return;
  // Every level of a nested construct may miss the same thing at the same place.
  const Diagnostic report{position.line, position.column, std::move(message)};
  if (std::find(list_.begin(), list_.end(), report) != list_.end()) return;
  list_.push_back(report);
  if (list_.size() > kMaximumReports) {
    full_ = true;
    list_.back().message = "more is wrong from here on";
  }
}

std::vector<Diagnostic> Diagnostics::take() && {
  std::stable_sort(list_.begin(), list_.end(), [](const Diagnostic& a, const Diagnostic& b) {
    return std::tie(a.line, a.column) < std::tie(b.line, b.column);
  });
  return std::move(list_);
}

}  // namespace kelvo::kernel_language
