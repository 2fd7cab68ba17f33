#include "platform/kernel_language/registers.h"

#include <algorithm>
#include <span>
#include <utility>

namespace kelvo::kernel_language {
namespace {

class Allocator {
 public:
  explicit Allocator(const VirtualTape& tape)
      : from_(tape), lastUse_(tape.registers, 0), assigned_(tape.registers, kNoRegister) {}

  TapeResult allocate() {
    findLastUses();
    for (const auto& constant : from_.constants) {
      to_.constants.push_back({constant.bits, take(constant.target)});
    }
    for (const auto& input : from_.inputs) {
      to_.inputs.push_back({input.source, input.component, take(input.target)});
    }
    for (std::size_t i = 0; i < from_.steps.size(); ++i) allocateStep(i);
    for (std::size_t i = 0; i < 4; ++i) {
      const VirtualRegister output = from_.outputs[i];
      to_.outputs[i] = output == kNoVirtualRegister ? kNoRegister : assigned_[output];
    }
    to_.registers = count_;
    if (!ok_) return {{}, false};
    return {std::move(to_), true};
  }

 private:
  void findLastUses() {
    for (std::size_t i = 0; i < from_.steps.size(); ++i) {
      for (const VirtualRegister m : from_.steps[i].m.all()) {
        if (m != kNoVirtualRegister) lastUse_[m] = i;
      }
    }
    for (const auto& constant : from_.constants) lastUse_[constant.target] = from_.steps.size();
    for (const VirtualRegister output : from_.outputs) {
      if (output != kNoVirtualRegister) lastUse_[output] = from_.steps.size();
    }
  }

  Register take(VirtualRegister target) {
    Register result = kNoRegister;
    if (!free_.empty()) {
      result = free_.back();  // the one used last: still in first-level cache
      free_.pop_back();
    } else if (count_ < kNoRegister) {
      result = static_cast<Register>(count_++);
    } else {
      ok_ = false;
    }
    assigned_[target] = result;
    return result;
  }

  void release(VirtualRegister m) {
    if (assigned_[m] != kNoRegister) free_.push_back(assigned_[m]);
  }

  void releaseOperands(const std::array<VirtualRegister, 3>& operands, std::size_t index) {
    for (std::size_t i = 0; i < operands.size(); ++i) {
      const VirtualRegister m = operands[i];
      const auto earlier = std::span(operands).first(i);
      const bool repeated = std::ranges::find(earlier, m) != earlier.end();
      if (m != kNoVirtualRegister && lastUse_[m] == index && !repeated) release(m);
    }
  }

  void allocateStep(std::size_t index) {
    const VirtualStep& step = from_.steps[index];
    Step result{.code = step.code, .op = step.op, .index = step.index, .k = step.k};
    const auto operands = step.m.all();
    const auto targets = step.target.all();
    for (std::size_t i = 0; i < 3; ++i) {
      if (operands[i] != kNoVirtualRegister) result.m[i] = assigned_[operands[i]];
    }
    result.target.fill(kNoRegister);
    // The accumulator is stored when all operands have been read; a call reads and writes in turns.
    const bool inPlace = !leavesAccumulator(step.code);
    if (inPlace) releaseOperands(operands, index);
    for (std::size_t i = 0; i < 4; ++i) {
      if (targets[i] != kNoVirtualRegister) result.target[i] = take(targets[i]);
    }
    if (!inPlace) releaseOperands(operands, index);
    to_.steps.push_back(result);
  }

  const VirtualTape& from_;
  Tape to_;
  std::vector<std::size_t> lastUse_;
  std::vector<Register> assigned_;
  std::vector<Register> free_;
  std::uint32_t count_ = 0;
  bool ok_ = true;
};

}  // namespace

TapeResult allocateRegisters(const VirtualTape& tape) { return Allocator(tape).allocate(); }

}  // namespace kelvo::kernel_language
