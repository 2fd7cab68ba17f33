#include "platform/kernel_language/branches.h"

#include <algorithm>
#include <vector>

namespace kelvo::kernel_language {
namespace {

// Finding out whether a block has the mask costs about as much as two steps.
constexpr std::size_t kWorthwhile = 8;

// Steps count how many to pass over in 16 bits, and an operation is at most a few steps.
constexpr std::size_t kMostInstructions = 10000;

// How many operations the roots from `begin` on are made of.
std::size_t operationsFrom(const Program& program, const Trees& trees, std::size_t begin) {
  std::vector<ValueId> open;
  for (std::size_t i = begin; i < trees.roots.size(); ++i) open.push_back(trees.roots[i].value);
  std::size_t count = 0;
  while (!open.empty()) {
    const Instruction& in = program.instructions[open.back()];
    open.pop_back();
    ++count;
    for (const ValueId operand : {in.a, in.b, in.c}) {
      if (operand != kNoValue && trees.place[operand] == Place::inner) open.push_back(operand);
    }
  }
  return count;
}

}  // namespace

std::optional<Branch> findBranch(const Program& program, const Trees& trees) {
  const auto at = [&](std::size_t component) -> const Instruction& {
    return program.instructions[program.outputs[component]];
  };
  const ValueId mask = at(0).a;
  Branch branch;
  for (std::size_t c = 0; c < branch.otherwise.size(); ++c) {
    if (at(c).op != Op::select || at(c).a != mask) return std::nullopt;
    branch.otherwise[c] = at(c).c;
  }
  const auto rootOf = [&](ValueId value) {
    return std::ranges::find_if(
        trees.roots, [&](const Root& root) { return root.value == value && !root.component; });
  };
  const auto place = rootOf(mask);  // before anything that is rendered: all of that needs it
  if (place == trees.roots.end()) return std::nullopt;
  branch.root = static_cast<std::size_t>(place - trees.roots.begin());
  const auto isThere = [&](ValueId value) {
    return trees.place[value] == Place::constant || program.instructions[value].op == Op::input ||
           (trees.place[value] == Place::stored && rootOf(value) < place);
  };
  if (!std::ranges::all_of(branch.otherwise, isThere)) return std::nullopt;
  if (operationsFrom(program, trees, branch.root + 1) < kWorthwhile) return std::nullopt;
  return branch;
}

bool canBeSettledEarly(const Program& program, const Trees& trees, const Estimate& estimate) {
  const auto isStored = [&](ValueId value) { return trees.place[value] == Place::stored; };
  if (!isStored(estimate.angle) || !isStored(estimate.radius)) return false;
  if (estimate.mask != kNoValue && !isStored(estimate.mask)) return false;
  const std::size_t count = program.instructions.size();
  if (count > kMostInstructions) return false;
  std::vector<bool> depends(count, false);
  const auto isDependent = [&](ValueId value) { return value != kNoValue && depends[value]; };
  for (ValueId value = 0; value < count; ++value) {
    const Instruction& in = program.instructions[value];
    if ((in.op == Op::sin || in.op == Op::cos) && in.a == estimate.angle) {
      depends[value] = true;
    } else if (value != estimate.comparison) {
      depends[value] = isDependent(in.a) || isDependent(in.b) || isDependent(in.c);
      if (depends[value] && trees.place[value] != Place::inner) return false;
    }
  }
  return true;
}

}  // namespace kelvo::kernel_language
