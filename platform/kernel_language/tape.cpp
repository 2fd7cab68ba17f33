#include "platform/kernel_language/tape.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <optional>
#include <tuple>

#include "platform/kernel_language/branches.h"
#include "platform/kernel_language/fusion.h"
#include "platform/kernel_language/registers.h"
#include "platform/kernel_language/trees.h"

namespace kelvo::kernel_language {
namespace {

// The codes of a binary operation by the places of its operands.
struct Forms {
  Code am, ma, ak, ka, mm, mk, km;
};

std::optional<Forms> formsOf(Op op) {
  switch (op) {
    case Op::add:
      return Forms{Code::addAM, Code::addAM, Code::addAK, Code::addAK,
                   Code::addMM, Code::addMK, Code::addMK};
    case Op::sub:  // x - k is emitted as x + -k
      return Forms{Code::subAM, Code::subMA, Code::addAK, Code::subKA,
                   Code::subMM, Code::addMK, Code::subKM};
    case Op::mul:
      return Forms{Code::mulAM, Code::mulAM, Code::mulAK, Code::mulAK,
                   Code::mulMM, Code::mulMK, Code::mulMK};
    case Op::div:
      return Forms{Code::divAM, Code::divMA, Code::divAK, Code::divKA,
                   Code::divMM, Code::divMK, Code::divKM};
    case Op::min:
      return Forms{Code::minAM, Code::minMA, Code::minAK, Code::minKA,
                   Code::minMM, Code::minMK, Code::minKM};
    case Op::max:
      return Forms{Code::maxAM, Code::maxMA, Code::maxAK, Code::maxKA,
                   Code::maxMM, Code::maxMK, Code::maxKM};
    case Op::less:
      return Forms{Code::lessAM, Code::lessMA, Code::lessAK, Code::lessKA,
                   Code::lessMM, Code::lessMK, Code::lessKM};
    case Op::lessEqual:
      return Forms{Code::lessEqualAM, Code::lessEqualMA, Code::lessEqualAK, Code::lessEqualKA,
                   Code::lessEqualMM, Code::lessEqualMK, Code::lessEqualKM};
    case Op::equal:
      return Forms{Code::equalAM, Code::equalAM, Code::equalAK, Code::equalAK,
                   Code::equalMM, Code::equalMK, Code::equalMK};
    case Op::notEqual:
      return Forms{Code::notEqualAM, Code::notEqualAM, Code::notEqualAK, Code::notEqualAK,
                   Code::notEqualMM, Code::notEqualMK, Code::notEqualMK};
    // Masks are never constant here: the program has been simplified.
    case Op::maskAnd:
      return Forms{Code::maskAndAM, Code::maskAndAM, Code::end, Code::end,
                   Code::maskAndMM, Code::end,       Code::end};
    case Op::maskOr:
      return Forms{Code::maskOrAM, Code::maskOrAM, Code::end, Code::end,
                   Code::maskOrMM, Code::end,      Code::end};
    case Op::maskXor:
      return Forms{Code::maskXorAM, Code::maskXorAM, Code::end, Code::end,
                   Code::maskXorMM, Code::end,       Code::end};
    default:
      return std::nullopt;
  }
}

Code unaryCode(Op op) {
  switch (op) {
    case Op::neg:
      return Code::neg;
    case Op::abs:
      return Code::abs;
    case Op::sign:
      return Code::sign;
    case Op::floor:
      return Code::floor;
    case Op::ceil:
      return Code::ceil;
    case Op::fract:
      return Code::fract;
    case Op::sqrt:
      return Code::sqrt;
    case Op::maskNot:
      return Code::maskNot;
    default:
      return Code::end;
  }
}

// An exponent that the step for fractions is made for.
bool isPlainFraction(float exponent) {
  return std::isfinite(exponent) && std::fabs(exponent) >= 0.25F &&
         exponent != std::floor(exponent);
}

// Emits steps on virtual registers: a value's own number, or a temporary's beyond those.
class Emitter {
 public:
  Emitter(const Program& program, const TapeOptions& options)
      : program_(program),
        options_(options),
        trees_(cutTrees(program, options.render)),
        nextRegister_(static_cast<VirtualRegister>(program.instructions.size())) {}

  VirtualTape emit() {
    for (ValueId value = 0; value < program_.instructions.size(); ++value) {
      const Instruction& in = at(value);
      if (in.op == Op::input) {
        tape_.inputs.push_back({in.immediate / 4, in.immediate % 4, value});
      } else if (in.op == Op::sampleImage) {
        VirtualResults& results = samples_[placeOfSample(in)];
        const std::array components{&results.first, &results.second, &results.third,
                                    &results.fourth};
        *components[in.immediate % 4] = value;
      } else if (in.op == Op::sin) {
        angles_[in.a].sine = value;
      } else if (in.op == Op::cos) {
        angles_[in.a].cosine = value;
      }
    }
    for (const Estimate& estimate : options_.estimates) {
      if (canBeSettledEarly(program_, trees_, estimate)) {
        estimates_.push_back(&estimate);
        angles_[estimate.angle].isPlaced = true;
      }
    }
    const auto branch = options_.render ? findBranch(program_, trees_) : std::nullopt;
    for (std::size_t i = 0; i < trees_.roots.size(); ++i) {
      const Root& root = trees_.roots[i];
      if (root.component) {
        emitRendered(root.value, *root.component);
      } else {
        emitStored(root.value);
      }
      if (branch && branch->root == i) emitShortWay(root.value, branch->otherwise);
    }
    if (!options_.render) {
      for (std::size_t i = 0; i < 4; ++i) tape_.outputs[i] = inRegister(program_.outputs[i]);
    }
    push({.code = Code::end});
    tape_.registers = nextRegister_;
    return std::move(tape_);
  }

 private:
  using SamplePlace = std::tuple<std::uint32_t, ValueId, ValueId>;  // image, x, y
  static SamplePlace placeOfSample(const Instruction& in) { return {in.immediate / 4, in.a, in.b}; }

  [[nodiscard]] const Instruction& at(ValueId value) const { return program_.instructions[value]; }
  [[nodiscard]] bool isInner(ValueId v) const { return trees_.place[v] == Place::inner; }
  [[nodiscard]] bool isStored(ValueId v) const { return trees_.place[v] == Place::stored; }
  [[nodiscard]] bool isConstant(ValueId v) const { return trees_.place[v] == Place::constant; }
  [[nodiscard]] float constant(ValueId v) const { return std::bit_cast<float>(at(v).immediate); }

  // Joins the step with those before it where one step can do the work of both.
  void push(VirtualStep step) {
    while (!tape_.steps.empty()) {
      const auto fused = fusedSteps(tape_.steps.back(), step);
      if (!fused) break;
      tape_.steps.pop_back();
      step = *fused;
    }
    tape_.steps.push_back(step);
  }

  // Stores the accumulator, which the last step left.
  void storeInto(VirtualRegister target) { tape_.steps.back().target = {target}; }

  void emitRendered(ValueId value, std::uint32_t component) {
    compute(value);
    push({.code = options_.isSmall[component] ? Code::renderSmall : Code::render,
          .index = static_cast<std::uint16_t>(component)});
  }

  // For blocks in which no pixel has the mask.
  void emitShortWay(ValueId mask, const std::array<ValueId, 3>& rendered) {
    push({.code = Code::skipIfAny, .m = {mask}});
    const std::size_t skip = tape_.steps.size() - 1;
    for (std::uint32_t c = 0; c < rendered.size(); ++c) emitRendered(rendered[c], c);
    push({.code = Code::end});
    tape_.steps[skip].index = static_cast<std::uint16_t>(tape_.steps.size() - skip - 1);
  }

  // A stored value's register, or one that holds a constant for good.
  VirtualRegister inRegister(ValueId value) {
    if (!isConstant(value)) return value;
    std::uint32_t bits = at(value).immediate;
    if (at(value).op == Op::constantMask && bits != 0) bits = 0xffffffffU;
    const auto [place, isNew] = constants_.try_emplace(bits, nextRegister_);
    if (isNew) tape_.constants.push_back({bits, nextRegister_++});
    return place->second;
  }

  void emitStored(ValueId value) {
    const Instruction& in = at(value);
    switch (in.op) {
      case Op::destX:
        push({.code = Code::destX, .target = {value}});
        return;
      case Op::destY:
        push({.code = Code::destY, .target = {value}});
        return;
      case Op::sampleImage:
        emitSample(value);
        return;
      case Op::sin:
      case Op::cos:
        if (emitSinCos(value)) return;
        break;
      default:
        break;
    }
    if (isAccumulatorOp(in.op)) {
      computeInner(value);
      storeInto(value);
      return;
    }
    if (in.op == Op::pow && isConstant(in.b) && isPlainFraction(constant(in.b))) {
      push({.code = Code::powOfFraction,
            .m = {inRegister(in.a)},
            .target = {value},
            .k = {constant(in.b)}});
      return;
    }
    VirtualStep step{.code = Code::call, .op = in.op, .target = {value}};
    const std::array<ValueId, 3> operands{in.a, in.b, in.c};
    const auto operand = [&](std::size_t i) {
      return i < operandCount(in.op) ? inRegister(operands[i]) : kNoVirtualRegister;
    };
    step.m = {operand(0), operand(1), operand(2)};
    push(step);
  }

  // Components of one image at the same place are looked up together, where the first is needed.
  void emitSample(ValueId value) {
    const Instruction& in = at(value);
    const auto group = samples_.find(placeOfSample(in));
    if (group == samples_.end()) return;  // done with another component
    VirtualStep step{.code = Code::sample,
                     .m = {inRegister(in.a), inRegister(in.b), kNoVirtualRegister},
                     .target = group->second,
                     .index = static_cast<std::uint16_t>(in.immediate / 4)};
    push(step);
    samples_.erase(group);
  }

  // The sine and the cosine of one angle are computed together, where the first is needed, or
  // where an estimate does not do.
  bool emitSinCos(ValueId value) {
    Angle& angle = angles_[at(value).a];
    if (angle.sine == kNoVirtualRegister || angle.cosine == kNoVirtualRegister) return false;
    if (!angle.isPlaced) pushSinCos(at(value).a);
    angle.isPlaced = true;
    return true;
  }

  void pushSinCos(ValueId value) {
    const Angle& angle = angles_[value];
    push({.code = Code::sinCos, .m = {inRegister(value)}, .target = {angle.sine, angle.cosine}});
  }

  // Leaves the value in the accumulator.
  void compute(ValueId value) {
    if (isStored(value)) {
      push({.code = Code::loadM, .m = {value}});
      return;
    }
    if (isConstant(value)) {
      push({.code = Code::loadK, .k = {constant(value)}});
      return;
    }
    computeInner(value);
  }

  void computeInner(ValueId value) {
    const Instruction& in = at(value);
    if (in.op == Op::select) {
      computeSelect(in);
    } else if (operandCount(in.op) == 1) {
      compute(in.a);
      push({.code = unaryCode(in.op)});
    } else if (const Estimate* estimate = estimateOf(value)) {
      computeEstimated(in, *estimate);
    } else if (!computeFused(in)) {
      computeBinary(in);
    }
  }

  [[nodiscard]] const Estimate* estimateOf(ValueId value) const {
    const auto place = std::ranges::find(estimates_, value, &Estimate::comparison);
    return place == estimates_.end() ? nullptr : *place;
  }

  // The estimate first, then the sine, the cosine and what is compared unless that settles it.
  void computeEstimated(const Instruction& in, const Estimate& estimate) {
    computeEstimate(estimate);
    push({.code = Code::skipSettled, .k = {estimate.threshold, estimate.error}});
    const std::size_t skip = tape_.steps.size() - 1;
    pushSinCos(estimate.angle);
    const bool constantFirst = isConstant(in.a);
    compute(constantFirst ? in.b : in.a);
    tape_.steps[skip].index = static_cast<std::uint16_t>(tape_.steps.size() - skip - 1);
    const Forms forms = *formsOf(in.op);
    push({.code = constantFirst ? forms.ka : forms.ak, .k = {estimate.threshold}});
  }

  void computeEstimate(const Estimate& estimate) {
    VirtualRegister rest = kNoVirtualRegister;
    for (const ValueId further : estimate.rest) {
      compute(further);
      if (rest != kNoVirtualRegister) push({.code = Code::addAM, .m = {rest}});
      rest = nextRegister_++;
      storeInto(rest);
    }
    push({.code = Code::loadM, .m = {estimate.angle}});
    push({.code = Code::cosEstimate, .k = {estimate.turn}});
    push({.code = Code::mulAK, .k = {estimate.doubled}});
    push({.code = Code::addAM, .m = {estimate.radius}});
    push({.code = Code::mulAM, .m = {estimate.radius}});
    push({.code = Code::addAK, .k = {estimate.square}});
    if (estimate.mask != kNoValue) {
      push({.code = Code::selectMKA, .m = {estimate.mask}, .k = {estimate.whereMasked}});
    }
    if (rest != kNoVirtualRegister) push({.code = Code::addAM, .m = {rest}});
  }

  VirtualRegister computeIntoTemporary(ValueId value) {
    compute(value);
    const VirtualRegister temporary = nextRegister_++;
    storeInto(temporary);
    return temporary;
  }

  // An operand that is not in the accumulator: stored or constant, or computed into a temporary.
  struct Leaf {
    bool isConstant = false;
    VirtualRegister m = kNoVirtualRegister;
    float k = 0.0F;
  };
  Leaf leaf(ValueId value) {
    if (isConstant(value)) return {true, kNoVirtualRegister, constant(value)};
    return {false, isInner(value) ? computeIntoTemporary(value) : value, 0.0F};
  }

  void computeBinary(const Instruction& in) {
    const Forms forms = *formsOf(in.op);
    const bool negated = in.op == Op::sub;
    if (isSquare(in) && isInner(in.a)) {
      compute(in.a);
      push({.code = Code::square});
      return;
    }
    if (isInner(in.a)) {
      const Leaf right = leaf(in.b);
      compute(in.a);
      if (right.isConstant) {
        push({.code = forms.ak, .k = {negated ? -right.k : right.k}});
      } else {
        push({.code = forms.am, .m = {right.m}});
      }
      return;
    }
    if (isInner(in.b)) {
      compute(in.b);
      const Leaf left = leaf(in.a);
      if (left.isConstant) {
        push({.code = forms.ka, .k = {left.k}});
      } else {
        push({.code = forms.ma, .m = {left.m}});
      }
      return;
    }
    const Leaf left = leaf(in.a);
    const Leaf right = leaf(in.b);
    if (left.isConstant) {
      push({.code = forms.km, .m = {right.m}, .k = {left.k}});
    } else if (right.isConstant) {
      push({.code = forms.mk, .m = {left.m}, .k = {negated ? -right.k : right.k}});
    } else {
      push({.code = forms.mm, .m = {left.m, right.m}});
    }
  }

  void computeSelect(const Instruction& in) {
    if (isStored(in.a) && isConstant(in.b) && isConstant(in.c)) {
      push({.code = Code::selectMKK, .m = {in.a}, .k = {constant(in.b), constant(in.c)}});
      return;
    }
    if (isInner(in.a) || (!isInner(in.b) && !isInner(in.c))) {
      const Leaf whenSet = leaf(in.b);
      const Leaf otherwise = leaf(in.c);
      compute(in.a);
      if (whenSet.isConstant && otherwise.isConstant) {
        push({.code = Code::selectAKK, .k = {whenSet.k, otherwise.k}});
      } else if (whenSet.isConstant) {
        push({.code = Code::selectAKM, .m = {otherwise.m}, .k = {whenSet.k}});
      } else if (otherwise.isConstant) {
        push({.code = Code::selectAMK, .m = {whenSet.m}, .k = {otherwise.k}});
      } else {
        push({.code = Code::selectAMM, .m = {whenSet.m, otherwise.m}});
      }
      return;
    }
    if (isInner(in.b)) {
      const Leaf otherwise = leaf(in.c);
      compute(in.b);
      push({.code = otherwise.isConstant ? Code::selectMAK : Code::selectMAM,
            .m = {in.a, otherwise.m},
            .k = {otherwise.k}});
      return;
    }
    compute(in.c);
    const Leaf whenSet = leaf(in.b);
    push({.code = whenSet.isConstant ? Code::selectMKA : Code::selectMMA,
          .m = {in.a, whenSet.m},
          .k = {whenSet.k}});
  }

  // An inner product of two leaves.
  struct Product {
    VirtualRegister m = kNoVirtualRegister;
    VirtualRegister other = kNoVirtualRegister;  // unless by a constant
    float k = 0.0F;
  };
  [[nodiscard]] std::optional<Product> product(ValueId value) const {
    if (!isInner(value) || at(value).op != Op::mul) return std::nullopt;
    const Instruction& in = at(value);
    if (isStored(in.a) && isConstant(in.b))
      return Product{in.a, kNoVirtualRegister, constant(in.b)};
    if (isStored(in.a) && isStored(in.b)) return Product{in.a, in.b, 0.0F};
    return std::nullopt;
  }
  // A product joined with the sum it goes into, each rounded as if it stood alone.
  bool computeFused(const Instruction& in) {
    switch (in.op) {
      case Op::add:
        return computeAddProduct(in.a, in.b) || computeAddProduct(in.b, in.a);
      case Op::sub:
        return computeSubtractProduct(in);
      default:
        return false;
    }
  }

  bool computeAddProduct(ValueId addend, ValueId productValue) {
    const auto factor = product(productValue);
    if (!factor || isConstant(addend)) return false;
    compute(addend);
    pushAddProduct(*factor, false);
    return true;
  }

  bool computeSubtractProduct(const Instruction& in) {
    const auto factor = product(in.b);
    if (!factor || isConstant(in.a)) return false;
    compute(in.a);
    pushAddProduct(*factor, true);
    return true;
  }

  void pushAddProduct(const Product& factor, bool negated) {
    if (factor.other == kNoVirtualRegister) {
      push({.code = Code::addProductMK, .m = {factor.m}, .k = {negated ? -factor.k : factor.k}});
    } else {
      push({.code = negated ? Code::subProductMM : Code::addProductMM,
            .m = {factor.m, factor.other}});
    }
  }

  struct Angle {
    VirtualRegister sine = kNoVirtualRegister;
    VirtualRegister cosine = kNoVirtualRegister;
    bool isPlaced = false;  // computed already, or by the estimated comparison that it serves
  };

  const Program& program_;
  const TapeOptions& options_;
  Trees trees_;
  VirtualTape tape_;
  VirtualRegister nextRegister_;
  std::map<std::uint32_t, VirtualRegister> constants_;
  std::map<SamplePlace, VirtualResults> samples_;  // not yet emitted
  std::map<ValueId, Angle> angles_;                // whose sine or cosine is wanted
  std::vector<const Estimate*> estimates_;
};

}  // namespace

// The passes, in order: trees and their schedule, steps, registers.
TapeResult makeTape(const Program& program, const TapeOptions& options) {
  return allocateRegisters(Emitter(program, options).emit());
}

}  // namespace kelvo::kernel_language
