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
  if (program.instructions.size() > kMostInstructions) return false;
  const auto isInner = [&](ValueId value) { return trees.place[value] == Place::inner; };
  return std::ranges::all_of(estimate.between, isInner);
}

}  // namespace kelvo::kernel_language
