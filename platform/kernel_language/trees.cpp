#include "platform/kernel_language/trees.h"

#include <algorithm>
#include <array>

namespace kelvo::kernel_language {
namespace {

// Keeps the walks over trees, which recurse, shallow.
constexpr std::uint32_t kMaximumDepth = 48;

bool isConstant(Op op) {
  return op == Op::constant || op == Op::constantInt || op == Op::constantMask;
}

// What is multiplied by itself counts once: the accumulator can be squared.
std::array<ValueId, 3> operandsOf(const Instruction& in) {
  return {in.a, isSquare(in) ? kNoValue : in.b, in.c};
}

std::vector<Place> choosePlaces(const Program& program, bool renders) {
  const std::size_t size = program.instructions.size();
  std::vector<std::uint32_t> uses(size, 0);
  std::vector<bool> mustStore(size, false);
  for (const Instruction& in : program.instructions) {
    for (const ValueId operand : operandsOf(in)) {
      if (operand == kNoValue) continue;
      ++uses[operand];
      if (!isAccumulatorOp(in.op)) mustStore[operand] = true;  // calls work on block registers
    }
  }
  for (std::size_t c = 0; c < 4; ++c) {
    ++uses[program.outputs[c]];
    if (!renders) mustStore[program.outputs[c]] = true;
  }

  std::vector<Place> place(size, Place::stored);
  std::vector<std::uint32_t> depth(size, 0);
  for (std::size_t i = 0; i < size; ++i) {
    const Instruction& in = program.instructions[i];
    if (isConstant(in.op)) {
      place[i] = Place::constant;
      continue;
    }
    for (const ValueId operand : operandsOf(in)) {
      if (operand != kNoValue && place[operand] == Place::inner) {
        depth[i] = std::max(depth[i], depth[operand] + 1);
      }
    }
    if (isAccumulatorOp(in.op) && uses[i] == 1 && !mustStore[i] && depth[i] < kMaximumDepth) {
      place[i] = Place::inner;
    }
  }
  return place;
}

// The stored values that the tree of `value` reads, left to right.
void collectNeeds(const Program& program, const std::vector<Place>& place, ValueId value,
                  std::vector<ValueId>& needs) {
  for (const ValueId operand : operandsOf(program.instructions[value])) {
    if (operand == kNoValue) continue;
    if (place[operand] == Place::inner) collectNeeds(program, place, operand, needs);
    if (place[operand] == Place::stored) needs.push_back(operand);
  }
}

}  // namespace

bool isAccumulatorOp(Op op) {
  switch (op) {
    case Op::neg:
    case Op::abs:
    case Op::sign:
    case Op::floor:
    case Op::ceil:
    case Op::fract:
    case Op::sqrt:
    case Op::add:
    case Op::sub:
    case Op::mul:
    case Op::div:
    case Op::min:
    case Op::max:
    case Op::less:
    case Op::lessEqual:
    case Op::equal:
    case Op::notEqual:
    case Op::maskNot:
    case Op::maskAnd:
    case Op::maskOr:
    case Op::maskXor:
    case Op::select:
      return true;
    default:
      return false;
  }
}

bool isSquare(const Instruction& in) { return in.op == Op::mul && in.a == in.b; }

Trees cutTrees(const Program& program, bool renders) {
  Trees trees;
  trees.place = choosePlaces(program, renders);
  std::vector<bool> ordered(program.instructions.size(), false);
  struct Visit {
    Root root;
    std::vector<ValueId> needs;
    std::size_t next = 0;
  };
  std::vector<Visit> open;
  const auto visitValue = [&](ValueId value) {
    if (ordered[value] || trees.place[value] != Place::stored) return;
    ordered[value] = true;  // programs have no cycles: whoever meets it again comes later
    if (program.instructions[value].op == Op::input) return;
    open.push_back({{value, std::nullopt}, {}});
    collectNeeds(program, trees.place, value, open.back().needs);
  };
  const auto visitOutput = [&](std::uint32_t component) {
    const ValueId value = program.outputs[component];
    open.push_back({{value, component}, {}});
    if (trees.place[value] == Place::inner) {
      collectNeeds(program, trees.place, value, open.back().needs);
    } else {
      open.back().needs.push_back(value);
    }
  };
  for (std::uint32_t component = 0; component < 4; ++component) {
    if (!renders) {
      visitValue(program.outputs[component]);
    } else if (component < 3) {
      visitOutput(component);
    }
    while (!open.empty()) {
      Visit& top = open.back();
      if (top.next < top.needs.size()) {
        visitValue(top.needs[top.next++]);
        continue;
      }
      trees.roots.push_back(top.root);
      open.pop_back();
    }
  }
  return trees;
}

}  // namespace kelvo::kernel_language
