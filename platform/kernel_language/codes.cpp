#include <array>

#include "platform/kernel_language/enumerators.h"
#include "platform/kernel_language/tape.h"

namespace kelvo::kernel_language {
namespace {

struct CodeInfo {
  Code code;
  std::string_view name;
  unsigned registers;
  unsigned constants;
};

// In the order of Code.
constexpr auto kCodes = std::to_array<CodeInfo>({
    {Code::loadM, "loadM", 1, 0},
    {Code::loadK, "loadK", 0, 1},
    {Code::neg, "neg", 0, 0},
    {Code::abs, "abs", 0, 0},
    {Code::sign, "sign", 0, 0},
    {Code::floor, "floor", 0, 0},
    {Code::ceil, "ceil", 0, 0},
    {Code::fract, "fract", 0, 0},
    {Code::sqrt, "sqrt", 0, 0},
    {Code::square, "square", 0, 0},
    {Code::cosEstimate, "cosEstimate", 0, 1},
    {Code::maskNot, "maskNot", 0, 0},
    {Code::addAM, "addAM", 1, 0},
    {Code::addAK, "addAK", 0, 1},
    {Code::addMM, "addMM", 2, 0},
    {Code::addMK, "addMK", 1, 1},
    {Code::subAM, "subAM", 1, 0},
    {Code::subMA, "subMA", 1, 0},
    {Code::subKA, "subKA", 0, 1},
    {Code::subMM, "subMM", 2, 0},
    {Code::subKM, "subKM", 1, 1},
    {Code::mulAM, "mulAM", 1, 0},
    {Code::mulAK, "mulAK", 0, 1},
    {Code::mulMM, "mulMM", 2, 0},
    {Code::mulMK, "mulMK", 1, 1},
    {Code::divAM, "divAM", 1, 0},
    {Code::divMA, "divMA", 1, 0},
    {Code::divAK, "divAK", 0, 1},
    {Code::divKA, "divKA", 0, 1},
    {Code::divMM, "divMM", 2, 0},
    {Code::divMK, "divMK", 1, 1},
    {Code::divKM, "divKM", 1, 1},
    {Code::minAM, "minAM", 1, 0},
    {Code::minMA, "minMA", 1, 0},
    {Code::minAK, "minAK", 0, 1},
    {Code::minKA, "minKA", 0, 1},
    {Code::minMM, "minMM", 2, 0},
    {Code::minMK, "minMK", 1, 1},
    {Code::minKM, "minKM", 1, 1},
    {Code::maxAM, "maxAM", 1, 0},
    {Code::maxMA, "maxMA", 1, 0},
    {Code::maxAK, "maxAK", 0, 1},
    {Code::maxKA, "maxKA", 0, 1},
    {Code::maxMM, "maxMM", 2, 0},
    {Code::maxMK, "maxMK", 1, 1},
    {Code::maxKM, "maxKM", 1, 1},
    {Code::lessAM, "lessAM", 1, 0},
    {Code::lessMA, "lessMA", 1, 0},
    {Code::lessAK, "lessAK", 0, 1},
    {Code::lessKA, "lessKA", 0, 1},
    {Code::lessMM, "lessMM", 2, 0},
    {Code::lessMK, "lessMK", 1, 1},
    {Code::lessKM, "lessKM", 1, 1},
    {Code::lessEqualAM, "lessEqualAM", 1, 0},
    {Code::lessEqualMA, "lessEqualMA", 1, 0},
    {Code::lessEqualAK, "lessEqualAK", 0, 1},
    {Code::lessEqualKA, "lessEqualKA", 0, 1},
    {Code::lessEqualMM, "lessEqualMM", 2, 0},
    {Code::lessEqualMK, "lessEqualMK", 1, 1},
    {Code::lessEqualKM, "lessEqualKM", 1, 1},
    {Code::equalAM, "equalAM", 1, 0},
    {Code::equalAK, "equalAK", 0, 1},
    {Code::equalMM, "equalMM", 2, 0},
    {Code::equalMK, "equalMK", 1, 1},
    {Code::notEqualAM, "notEqualAM", 1, 0},
    {Code::notEqualAK, "notEqualAK", 0, 1},
    {Code::notEqualMM, "notEqualMM", 2, 0},
    {Code::notEqualMK, "notEqualMK", 1, 1},
    {Code::maskAndAM, "maskAndAM", 1, 0},
    {Code::maskAndMM, "maskAndMM", 2, 0},
    {Code::maskOrAM, "maskOrAM", 1, 0},
    {Code::maskOrMM, "maskOrMM", 2, 0},
    {Code::maskXorAM, "maskXorAM", 1, 0},
    {Code::maskXorMM, "maskXorMM", 2, 0},
    {Code::selectAMM, "selectAMM", 2, 0},
    {Code::selectAMK, "selectAMK", 1, 1},
    {Code::selectAKM, "selectAKM", 1, 1},
    {Code::selectAKK, "selectAKK", 0, 2},
    {Code::selectMAM, "selectMAM", 2, 0},
    {Code::selectMAK, "selectMAK", 1, 1},
    {Code::selectMMA, "selectMMA", 2, 0},
    {Code::selectMKA, "selectMKA", 1, 1},
    {Code::selectMKK, "selectMKK", 1, 2},
    {Code::addProductMK, "addProductMK", 1, 1},
    {Code::addProductMM, "addProductMM", 2, 0},
    {Code::subProductMM, "subProductMM", 2, 0},
    {Code::productAdd, "productAdd", 2, 1},
    {Code::scaleAddM, "scaleAddM", 1, 1},
    {Code::scaleAddK, "scaleAddK", 0, 2},
    {Code::addScale, "addScale", 0, 2},
    {Code::addAdd, "addAdd", 0, 2},
    {Code::addScaleAdd, "addScaleAdd", 0, 3},
    {Code::addAddScaleAdd, "addAddScaleAdd", 0, 4},
    {Code::subScaleAdd, "subScaleAdd", 3, 1},
    {Code::scaleFrom, "scaleFrom", 2, 1},
    {Code::weightedPair, "weightedPair", 2, 2},
    {Code::weightedSum, "weightedSum", 3, 3},
    {Code::weightedSumAdd, "weightedSumAdd", 3, 4},
    {Code::leastOfThree, "leastOfThree", 3, 0},
    {Code::mostOfThree, "mostOfThree", 3, 0},
    {Code::render, "render", 0, 0},
    {Code::renderSmall, "renderSmall", 0, 0},
    {Code::skipSettled, "skipSettled", 0, 2},
    {Code::skipIfAny, "skipIfAny", 1, 0},
    {Code::call, "call", 3, 0},
    {Code::sinCos, "sinCos", 1, 0},
    {Code::powOfFraction, "powOfFraction", 1, 1},
    {Code::sample, "sample", 2, 0},
    {Code::destX, "destX", 0, 0},
    {Code::destY, "destY", 0, 0},
    {Code::end, "end", 0, 0},
});

constexpr bool inOrder() {
  for (std::size_t i = 0; i < kCodes.size(); ++i) {
    if (static_cast<std::size_t>(kCodes[i].code) != i) return false;
  }
  return true;
}
static_assert(hasEnumerator<kCodes.back().code>() &&
                  !hasEnumerator<static_cast<Code>(kCodes.size())>(),
              "every code has its entry");
static_assert(inOrder(), "the entries stand in the order of Code");

const CodeInfo& info(Code code) { return kCodes[static_cast<std::size_t>(code)]; }

}  // namespace

std::string_view codeName(Code code) { return info(code).name; }
unsigned codeRegisters(Code code) { return info(code).registers; }
unsigned codeConstants(Code code) { return info(code).constants; }

bool leavesAccumulator(Code code) {
  switch (code) {
    case Code::call:
    case Code::sinCos:
    case Code::powOfFraction:
    case Code::sample:
    case Code::destX:
    case Code::destY:
    case Code::end:
      return true;
    default:
      return false;
  }
}

}  // namespace kelvo::kernel_language
