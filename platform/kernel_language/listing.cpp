#include <array>
#include <bit>
#include <cstdio>
#include <string>

#include "platform/kernel_language/tape.h"

namespace kelvo::kernel_language {
namespace {

std::string numberText(float value) {
  std::array<char, 32> text{};
  const int length = std::snprintf(text.data(), text.size(), "%.9g", static_cast<double>(value));
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string registerText(Register number) {
  std::string text(1, 'm');
  text += std::to_string(number);
  return text;
}

}  // namespace

std::string listingOf(const Tape& tape) {
  std::string text;
  for (const Tape::Constant& constant : tape.constants) {
    text += registerText(constant.target) + " = constant " +
            numberText(std::bit_cast<float>(constant.bits)) + '\n';
  }
  for (const Tape::Input& input : tape.inputs) {
    text += registerText(input.target) + " = input " + std::to_string(input.source) + '.' +
            std::to_string(input.component) + '\n';
  }
  for (const Step& step : tape.steps) {
    std::string results;
    for (const Register target : step.target) {
      if (target != kNoRegister) results += (results.empty() ? "" : ", ") + registerText(target);
    }
    if (!results.empty()) text += results + " = ";
    text += codeName(step.code);
    unsigned registers = codeRegisters(step.code);
    if (step.code == Code::call) {
      text += ' ';
      text += opName(step.op);
      registers = operandCount(step.op);
    }
    if (step.code == Code::sample || step.code == Code::render || step.code == Code::renderSmall ||
        step.code == Code::skipSettled || step.code == Code::skipIfAny) {
      text += ' ';
      text += std::to_string(step.index);
    }
    for (unsigned i = 0; i < registers; ++i) text += ' ' + registerText(step.m[i]);
    for (unsigned i = 0; i < codeConstants(step.code); ++i) text += ' ' + numberText(step.k[i]);
    text += '\n';
  }
  if (tape.outputs[0] == kNoRegister) return text;
  text += "output";
  for (const Register output : tape.outputs) text += ' ' + registerText(output);
  text += '\n';
  return text;
}

}  // namespace kelvo::kernel_language
