#include "platform/kernel_language/fusion.h"

#include <array>

namespace kelvo::kernel_language {
namespace {

// Pairs of codes and the code of both; operands and constants are put one after the other.
struct Fusion {
  Code first;
  Code second;
  Code both;
};

constexpr std::array kFusions{
    Fusion{Code::mulAK, Code::addAM, Code::scaleAddM},
    Fusion{Code::mulAK, Code::addAK, Code::scaleAddK},
    Fusion{Code::addAK, Code::mulAK, Code::addScale},
    Fusion{Code::addAK, Code::addAK, Code::addAdd},
    Fusion{Code::addAK, Code::scaleAddK, Code::addScaleAdd},
    Fusion{Code::addScale, Code::addAK, Code::addScaleAdd},
    Fusion{Code::addAdd, Code::scaleAddK, Code::addAddScaleAdd},
    Fusion{Code::mulMM, Code::addAK, Code::productAdd},
    Fusion{Code::minMM, Code::minMA, Code::leastOfThree},
    Fusion{Code::maxMM, Code::maxMA, Code::mostOfThree},
    Fusion{Code::subMM, Code::scaleAddM, Code::subScaleAdd},
    Fusion{Code::mulMK, Code::addProductMK, Code::weightedPair},
    Fusion{Code::weightedPair, Code::addProductMK, Code::weightedSum},
    Fusion{Code::weightedSum, Code::addAK, Code::weightedSumAdd},
};

}  // namespace

std::optional<VirtualStep> fusedSteps(const VirtualStep& first, const VirtualStep& second) {
  if (first.target.first != kNoVirtualRegister) return std::nullopt;  // stored in between
  for (const Fusion& fusion : kFusions) {
    if (fusion.first != first.code || fusion.second != second.code) continue;
    std::array<VirtualRegister, 3> m = first.m.all();
    const std::array<VirtualRegister, 3> added = second.m.all();
    for (unsigned i = 0; i < codeRegisters(second.code); ++i) {
      m[codeRegisters(first.code) + i] = added[i];
    }
    VirtualStep both = first;
    both.code = fusion.both;
    both.m = {m[0], m[1], m[2]};
    both.target = second.target;
    for (unsigned i = 0; i < codeConstants(second.code); ++i) {
      both.k[codeConstants(first.code) + i] = second.k[i];
    }
    if (both.code == Code::subScaleAdd && both.m.second == both.m.third) {
      both.code = Code::scaleFrom;
      both.m.third = kNoVirtualRegister;
    }
    return both;
  }
  return std::nullopt;
}

}  // namespace kelvo::kernel_language
