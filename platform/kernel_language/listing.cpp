#include <array>
#include <bit>
#include <cstdio>
#include <string>

#include "platform/kernel_language/tape.h"

namespace kelvo::kernel_language {
namespace {

struct CodeInfo {
  Code code;
  std::string_view name;
  unsigned registers;
  unsigned constants;
};

#define KELVO_CODE(name, registers, constants) \
  CodeInfo { Code::name, #name, registers, constants }
// In the order of Code.
constexpr auto kCodes = std::to_array<CodeInfo>({
    KELVO_CODE(loadM, 1, 0),        KELVO_CODE(loadK, 0, 1),        KELVO_CODE(store, 0, 0),
    KELVO_CODE(neg, 0, 0),          KELVO_CODE(abs, 0, 0),          KELVO_CODE(sign, 0, 0),
    KELVO_CODE(floor, 0, 0),        KELVO_CODE(ceil, 0, 0),         KELVO_CODE(fract, 0, 0),
    KELVO_CODE(sqrt, 0, 0),         KELVO_CODE(maskNot, 0, 0),      KELVO_CODE(addAM, 1, 0),
    KELVO_CODE(addAK, 0, 1),        KELVO_CODE(addMM, 2, 0),        KELVO_CODE(addMK, 1, 1),
    KELVO_CODE(subAM, 1, 0),        KELVO_CODE(subMA, 1, 0),        KELVO_CODE(subKA, 0, 1),
    KELVO_CODE(subMM, 2, 0),        KELVO_CODE(subKM, 1, 1),        KELVO_CODE(mulAM, 1, 0),
    KELVO_CODE(mulAK, 0, 1),        KELVO_CODE(mulMM, 2, 0),        KELVO_CODE(mulMK, 1, 1),
    KELVO_CODE(divAM, 1, 0),        KELVO_CODE(divMA, 1, 0),        KELVO_CODE(divAK, 0, 1),
    KELVO_CODE(divKA, 0, 1),        KELVO_CODE(divMM, 2, 0),        KELVO_CODE(divMK, 1, 1),
    KELVO_CODE(divKM, 1, 1),        KELVO_CODE(minAM, 1, 0),        KELVO_CODE(minMA, 1, 0),
    KELVO_CODE(minAK, 0, 1),        KELVO_CODE(minKA, 0, 1),        KELVO_CODE(minMM, 2, 0),
    KELVO_CODE(minMK, 1, 1),        KELVO_CODE(minKM, 1, 1),        KELVO_CODE(maxAM, 1, 0),
    KELVO_CODE(maxMA, 1, 0),        KELVO_CODE(maxAK, 0, 1),        KELVO_CODE(maxKA, 0, 1),
    KELVO_CODE(maxMM, 2, 0),        KELVO_CODE(maxMK, 1, 1),        KELVO_CODE(maxKM, 1, 1),
    KELVO_CODE(lessAM, 1, 0),       KELVO_CODE(lessMA, 1, 0),       KELVO_CODE(lessAK, 0, 1),
    KELVO_CODE(lessKA, 0, 1),       KELVO_CODE(lessMM, 2, 0),       KELVO_CODE(lessMK, 1, 1),
    KELVO_CODE(lessKM, 1, 1),       KELVO_CODE(lessEqualAM, 1, 0),  KELVO_CODE(lessEqualMA, 1, 0),
    KELVO_CODE(lessEqualAK, 0, 1),  KELVO_CODE(lessEqualKA, 0, 1),  KELVO_CODE(lessEqualMM, 2, 0),
    KELVO_CODE(lessEqualMK, 1, 1),  KELVO_CODE(lessEqualKM, 1, 1),  KELVO_CODE(equalAM, 1, 0),
    KELVO_CODE(equalAK, 0, 1),      KELVO_CODE(equalMM, 2, 0),      KELVO_CODE(equalMK, 1, 1),
    KELVO_CODE(notEqualAM, 1, 0),   KELVO_CODE(notEqualAK, 0, 1),   KELVO_CODE(notEqualMM, 2, 0),
    KELVO_CODE(notEqualMK, 1, 1),   KELVO_CODE(maskAndAM, 1, 0),    KELVO_CODE(maskAndMM, 2, 0),
    KELVO_CODE(maskOrAM, 1, 0),     KELVO_CODE(maskOrMM, 2, 0),     KELVO_CODE(maskXorAM, 1, 0),
    KELVO_CODE(maskXorMM, 2, 0),    KELVO_CODE(selectAMM, 2, 0),    KELVO_CODE(selectAMK, 1, 1),
    KELVO_CODE(selectAKM, 1, 1),    KELVO_CODE(selectAKK, 0, 2),    KELVO_CODE(selectMAM, 2, 0),
    KELVO_CODE(selectMAK, 1, 1),    KELVO_CODE(selectMMA, 2, 0),    KELVO_CODE(selectMKA, 1, 1),
    KELVO_CODE(addProductMK, 1, 1), KELVO_CODE(addProductMM, 2, 0), KELVO_CODE(subProductMM, 2, 0),
    KELVO_CODE(scaleAddM, 1, 1),    KELVO_CODE(scaleAddK, 0, 2),    KELVO_CODE(addScale, 0, 2),
    KELVO_CODE(weightedSum, 3, 3),  KELVO_CODE(call, 3, 0),         KELVO_CODE(sample, 2, 0),
    KELVO_CODE(destX, 0, 0),        KELVO_CODE(destY, 0, 0),        KELVO_CODE(end, 0, 0),
});
#undef KELVO_CODE

constexpr bool inOrder() {
  for (std::size_t i = 0; i < kCodes.size(); ++i) {
    if (static_cast<std::size_t>(kCodes[i].code) != i) return false;
  }
  return true;
}
static_assert(kCodes.size() == static_cast<std::size_t>(Code::end) + 1 && inOrder(),
              "every code has its entry, in the order of Code");

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

std::string_view codeName(Code code) { return kCodes[static_cast<std::size_t>(code)].name; }

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
    const CodeInfo& info = kCodes[static_cast<std::size_t>(step.code)];
    std::string results;
    for (const Register target : step.target) {
      if (target != kNoRegister) results += (results.empty() ? "" : ", ") + registerText(target);
    }
    if (!results.empty()) text += results + " = ";
    text += info.name;
    unsigned registers = info.registers;
    if (step.code == Code::call) {
      text += ' ';
      text += opName(step.op);
      registers = operandCount(step.op);
    }
    if (step.code == Code::sample) text += " image " + std::to_string(step.image);
    for (unsigned i = 0; i < registers; ++i) text += ' ' + registerText(step.m[i]);
    for (unsigned i = 0; i < info.constants; ++i) text += ' ' + numberText(step.k[i]);
    text += '\n';
  }
  text += "output";
  for (const Register output : tape.outputs) text += ' ' + registerText(output);
  text += '\n';
  return text;
}

}  // namespace kelvo::kernel_language
