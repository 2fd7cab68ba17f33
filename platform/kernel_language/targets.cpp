#include <hwy/targets.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kernel_language/executable.h"
#include "platform/kernel_language/plan.h"
#include "platform/kernel_language/vector_executor.h"

namespace kelvo::kernel_language {
namespace {

constexpr std::string_view kPlain = "SCALAR";

std::atomic<bool>& plainForced() {
  static std::atomic<bool> forced = false;
  return forced;
}

// Leaves the choice among `mask` to the vector library; 0 stands for all there are.
void allowTargets(std::int64_t mask) {
  hwy::SetSupportedTargetsForTest(mask);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace

std::vector<std::string> targets() {
  std::vector<std::string> names;
  for (const std::int64_t target : vectorTargets()) names.emplace_back(hwy::TargetName(target));
  names.emplace_back(kPlain);
  return names;
}

std::string_view currentTarget() {
  return plainForced() || vectorTargets().empty()
             ? kPlain
             : std::string_view(hwy::TargetName(vectorTarget()));
}

bool forceTarget(std::string_view name) {
  if (name.empty() || name == kPlain) {
    plainForced() = !name.empty();
    allowTargets(0);
    return true;
  }
  for (const std::int64_t target : vectorTargets()) {
    if (name != hwy::TargetName(target)) continue;
    plainForced() = false;
    allowTargets(target);
    return true;
  }
  return false;
}

bool usesVectors() { return !plainForced(); }

}  // namespace kelvo::kernel_language
