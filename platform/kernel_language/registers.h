#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/kernel_language/tape.h"

namespace kelvo::kernel_language {

// Steps before register allocation: every value has a register of its own.
using VirtualRegister = std::uint32_t;
constexpr VirtualRegister kNoVirtualRegister = 0xffffffffU;

struct VirtualOperands {
  VirtualRegister first = kNoVirtualRegister;
  VirtualRegister second = kNoVirtualRegister;
  VirtualRegister third = kNoVirtualRegister;

  [[nodiscard]] std::array<VirtualRegister, 3> all() const { return {first, second, third}; }
};

// One result, or the components of a sample.
struct VirtualResults {
  VirtualRegister first = kNoVirtualRegister;
  VirtualRegister second = kNoVirtualRegister;
  VirtualRegister third = kNoVirtualRegister;
  VirtualRegister fourth = kNoVirtualRegister;

  [[nodiscard]] std::array<VirtualRegister, 4> all() const {
    return {first, second, third, fourth};
  }
};

struct VirtualStep {
  Code code = Code::end;
  Op op = Op::constant;
  VirtualOperands m{};
  VirtualResults target{};
  std::uint16_t index = 0;
  std::array<float, 4> k{};
};

struct VirtualTape {
  struct Input {
    std::uint32_t source;
    std::uint32_t component;
    VirtualRegister target;
  };
  struct Constant {
    std::uint32_t bits;
    VirtualRegister target;
  };
  std::vector<Constant> constants;
  std::vector<Input> inputs;
  std::vector<VirtualStep> steps;
  std::array<VirtualRegister, 4> outputs{kNoVirtualRegister, kNoVirtualRegister, kNoVirtualRegister,
                                         kNoVirtualRegister};
  VirtualRegister registers = 0;
};

// Linear scan: a register is free again after the last step that reads it.
TapeResult allocateRegisters(const VirtualTape& tape);

}  // namespace kelvo::kernel_language
