#include "platform/kernel_language/estimates.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>

namespace kelvo::kernel_language {
namespace {

// Rounding two numbers of that size takes them apart by no more.
double roundingOf(double size) { return size * 0x1p-23 + 0x1p-148; }

// Follows the errors of one angle's estimates through a program.
class Errors {
 public:
  Errors(const Program& program, std::span<const Range> ranges, ValueId angle)
      : program_(program), ranges_(ranges), angle_(angle), errors_(ranges.size(), 0.0) {}

  // The comparison that all of the estimates end in, unless there are several, or something else
  // needs them too.
  std::optional<Estimate> find() {
    std::optional<Estimate> found;
    for (ValueId value = 0; value < program_.instructions.size(); ++value) {
      const Instruction& in = program_.instructions[value];
      if ((in.op == Op::sin || in.op == Op::cos) && in.a == angle_) {
        errors_[value] = kSinCosEstimateError;
      } else if (isEstimated(in.a) || isEstimated(in.b) || isEstimated(in.c)) {
        if (in.op == Op::less || in.op == Op::lessEqual) {
          if (found) return std::nullopt;
          found = estimateOf(value);
          if (!found) return std::nullopt;
          continue;
        }
        const auto error = errorOf(in, value);
        if (!error || !std::isfinite(*error)) return std::nullopt;
        errors_[value] = *error;
      }
    }
    const bool isOutput = std::ranges::any_of(
        program_.outputs, [this](ValueId output) { return isEstimated(output); });
    return isOutput ? std::nullopt : found;
  }

 private:
  [[nodiscard]] bool isEstimated(ValueId value) const {
    return value != kNoValue && errors_[value] > 0.0;
  }

  // The largest number that the value or its estimate can be.
  [[nodiscard]] double sizeOf(ValueId value) const {
    const auto size = std::max(std::fabs(ranges_[value].low), std::fabs(ranges_[value].high));
    return static_cast<double>(size) + errors_[value];
  }

  [[nodiscard]] std::optional<double> errorOf(const Instruction& in, ValueId value) const {
    switch (in.op) {
      case Op::neg:
      case Op::abs:
        return errors_[in.a];
      case Op::add:
      case Op::sub: {
        const double error = errors_[in.a] + errors_[in.b];
        return error + roundingOf(sizeOf(value) + error);
      }
      case Op::mul: {
        const double error = sizeOf(in.a) * errors_[in.b] + sizeOf(in.b) * errors_[in.a];
        return error + roundingOf(sizeOf(value) + error);
      }
      case Op::select:
        return std::max(errors_[in.b], errors_[in.c]);
      default:
        return std::nullopt;
    }
  }

  [[nodiscard]] std::optional<Estimate> estimateOf(ValueId comparison) const {
    const Instruction& in = program_.instructions[comparison];
    const bool constantFirst = program_.instructions[in.a].op == Op::constant;
    const Instruction& other = program_.instructions[constantFirst ? in.a : in.b];
    if (other.op != Op::constant) return std::nullopt;
    // A little more: the distance from the threshold is rounded, too.
    const double error = 1.0001 * errors_[constantFirst ? in.b : in.a];
    return Estimate{comparison, angle_, std::bit_cast<float>(other.immediate),
                    static_cast<float>(error)};
  }

  const Program& program_;
  std::span<const Range> ranges_;
  ValueId angle_;
  std::vector<double> errors_;  // by value; 0: not touched by the estimates
};

}  // namespace

std::vector<Estimate> findEstimates(const Program& program, std::span<const Range> ranges) {
  std::vector<Estimate> estimates;
  for (const Instruction& in : program.instructions) {
    if (in.op != Op::sin) continue;
    const bool hasCosine = std::ranges::any_of(
        program.instructions, [&](const Instruction& i) { return i.op == Op::cos && i.a == in.a; });
    if (!hasCosine) continue;
    if (const auto estimate = Errors(program, ranges, in.a).find()) estimates.push_back(*estimate);
  }
  return estimates;
}

}  // namespace kelvo::kernel_language
