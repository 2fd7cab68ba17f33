#include "platform/kernel_language/estimates.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>
#include <utility>

namespace kelvo::kernel_language {
namespace {

// A sine or cosine that was rounded to a float is no further from the function.
constexpr double kFunctionError = 0x1p-24;

// More than rounding a number of that size takes it away.
double roundingOf(double size) { return size * 0x1p-23 + 0x1p-148; }

double constantOf(const Instruction& in) { return std::bit_cast<float>(in.immediate); }

// Follows what depends on the sine and the cosine of one angle through a program, and how far
// rounding takes it from what it would be in real numbers.
class Dependents {
 public:
  Dependents(const Program& program, std::span<const Range> ranges, ValueId angle)
      : program_(program), ranges_(ranges), angle_(angle), errors_(ranges.size(), 0.0) {}

  // The comparison that everything ends in, unless there are several, or something else needs them
  // too.
  std::optional<ValueId> findComparison() {
    std::optional<ValueId> found;
    for (ValueId value = 0; value < program_.instructions.size(); ++value) {
      const Instruction& in = at(value);
      if ((in.op == Op::sin || in.op == Op::cos) && in.a == angle_) {
        errors_[value] = kFunctionError;
      } else if (contains(in.a) || contains(in.b) || contains(in.c)) {
        if (in.op == Op::less || in.op == Op::lessEqual) {
          if (found) return std::nullopt;
          found = value;
          continue;
        }
        const auto error = errorOf(in, value);
        if (!error || !std::isfinite(*error)) return std::nullopt;
        errors_[value] = *error;
        between_.push_back(value);
      }
    }
    const bool isOutput =
        std::ranges::any_of(program_.outputs, [this](ValueId output) { return contains(output); });
    return isOutput ? std::nullopt : found;
  }

  [[nodiscard]] bool contains(ValueId value) const {
    return value != kNoValue && errors_[value] > 0.0;
  }
  [[nodiscard]] double error(ValueId value) const { return errors_[value]; }
  // All of them but the functions themselves and the comparison.
  [[nodiscard]] const std::vector<ValueId>& between() const { return between_; }

  // The largest number that the value can be, in floats or in real numbers.
  [[nodiscard]] double sizeOf(ValueId value) const {
    const auto size = std::max(std::fabs(ranges_[value].low), std::fabs(ranges_[value].high));
    return static_cast<double>(size) + errors_[value];
  }

  [[nodiscard]] const Instruction& at(ValueId value) const { return program_.instructions[value]; }

 private:
  [[nodiscard]] std::optional<double> errorOf(const Instruction& in, ValueId value) const {
    switch (in.op) {
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

  const Program& program_;
  std::span<const Range> ranges_;
  ValueId angle_;
  std::vector<double> errors_;  // by value; 0: does not depend on them
  std::vector<ValueId> between_;
};

// (r cos h + p)^2 or (r sin h + p)^2; where the mask is set, a constant instead.
struct Square {
  Op function = Op::cos;
  ValueId radius = kNoValue;
  double offset = 0.0;
  ValueId mask = kNoValue;
  double whereMasked = 0.0;
};

class DistanceReader {
 public:
  static constexpr std::size_t kMostFurther = 4;

  explicit DistanceReader(const Dependents& dependents) : dependents_(dependents) {}

  // False if the value is of another form, or of so many terms that nothing would be saved.
  bool read(ValueId value) {
    std::vector<ValueId> open{value};
    while (!open.empty()) {
      const ValueId next = open.back();
      open.pop_back();
      const Instruction& in = dependents_.at(next);
      if (!dependents_.contains(next)) {
        rest.push_back(next);
      } else if (in.op == Op::add) {
        open.push_back(in.b);
        open.push_back(in.a);
      } else if (const auto square = squareOf(next)) {
        squares.push_back(*square);
      } else {
        return false;
      }
      if (squares.size() > 2 || rest.size() > kMostFurther) return false;
    }
    return true;
  }

  std::vector<Square> squares;
  std::vector<ValueId> rest;

 private:
  [[nodiscard]] bool isConstant(ValueId value) const {
    return dependents_.at(value).op == Op::constant;
  }

  [[nodiscard]] std::optional<Square> squareOf(ValueId value) const {
    Square square;
    const Instruction* in = &dependents_.at(value);
    if (in->op == Op::select && isConstant(in->b)) {
      square.mask = in->a;
      square.whereMasked = constantOf(dependents_.at(in->b));
      in = &dependents_.at(in->c);
    }
    if (in->op != Op::mul || in->a != in->b) return std::nullopt;
    in = &dependents_.at(in->a);
    if (in->op == Op::add || in->op == Op::sub) {
      if (!isConstant(in->a) && !isConstant(in->b)) return std::nullopt;
      const bool constantFirst = isConstant(in->a);
      // (k - x)^2 = (x - k)^2
      square.offset = constantOf(dependents_.at(constantFirst ? in->a : in->b));
      if (in->op == Op::sub) square.offset = -square.offset;
      in = &dependents_.at(constantFirst ? in->b : in->a);
    }
    if (in->op != Op::mul) return std::nullopt;
    const bool functionFirst = dependents_.contains(in->a);
    const Instruction& function = dependents_.at(functionFirst ? in->a : in->b);
    if (function.op != Op::sin && function.op != Op::cos) return std::nullopt;
    square.function = function.op;
    square.radius = functionFirst ? in->b : in->a;
    if (dependents_.contains(square.radius)) return std::nullopt;
    return square;
  }

  const Dependents& dependents_;
};

std::optional<Estimate> estimateFor(const Program& program, std::span<const Range> ranges,
                                    ValueId angle) {
  Dependents dependents(program, ranges, angle);
  const auto comparison = dependents.findComparison();
  if (!comparison) return std::nullopt;
  const Instruction& compared = dependents.at(*comparison);
  const bool constantFirst = dependents.at(compared.a).op == Op::constant;
  const Instruction& threshold = dependents.at(constantFirst ? compared.a : compared.b);
  if (threshold.op != Op::constant) return std::nullopt;

  DistanceReader distance(dependents);
  const ValueId value = constantFirst ? compared.b : compared.a;
  if (!distance.read(value) || distance.squares.size() != 2) return std::nullopt;
  const bool sineFirst = distance.squares[0].function == Op::sin;
  const Square& sine = distance.squares[sineFirst ? 0 : 1];
  const Square& cosine = distance.squares[sineFirst ? 1 : 0];
  if (sine.function != Op::sin || cosine.function != Op::cos) return std::nullopt;
  if (sine.radius != cosine.radius || sine.mask != cosine.mask) return std::nullopt;

  Estimate estimate;
  estimate.comparison = *comparison;
  estimate.angle = angle;
  estimate.radius = sine.radius;
  estimate.threshold = std::bit_cast<float>(threshold.immediate);
  estimate.mask = sine.mask;
  estimate.rest = distance.rest;
  estimate.between = dependents.between();
  // Constants as floats, and how far that takes them.
  const auto rounded = [](double exact, float& to) {
    to = static_cast<float>(exact);
    return std::fabs(static_cast<double>(to) - exact);
  };
  const double size = std::hypot(sine.offset, cosine.offset);
  double error = kCosEstimateError;
  error += rounded(-std::atan2(sine.offset, cosine.offset), estimate.turn) + 0x1p-50;
  // 2 R cos(h - t), + r, r times it, + R^2, + the rest, each with its rounding.
  const double radius = dependents.sizeOf(estimate.radius);
  const double sum = 2 * size + radius;
  error = 2 * size * error + rounded(2 * size, estimate.doubled) + roundingOf(2 * size);
  error += roundingOf(sum);
  error = radius * error + roundingOf(radius * sum);
  error += rounded(size * size, estimate.square);
  error = std::max(error, rounded(sine.whereMasked + cosine.whereMasked, estimate.whereMasked));
  double total = radius * sum + size * size + std::fabs(sine.whereMasked + cosine.whereMasked);
  error += roundingOf(total);
  for (const ValueId further : estimate.rest) {
    total += dependents.sizeOf(further);
    error += 2 * roundingOf(total);
  }
  // A little more: these sums are rounded, and so is the distance from the threshold.
  estimate.error = static_cast<float>(1.001 * (error + dependents.error(value)));
  return std::isfinite(estimate.error) ? std::optional(estimate) : std::nullopt;
}

}  // namespace

std::vector<Estimate> findEstimates(const Program& program, std::span<const Range> ranges) {
  std::vector<Estimate> estimates;
  for (const Instruction& in : program.instructions) {
    if (in.op != Op::sin) continue;
    auto estimate = estimateFor(program, ranges, in.a);
    // Where there are two moving points, the one serves the other as a rest that has to be
    // computed.
    const auto isOfTheSame = [&](const Estimate& other) {
      return other.comparison == estimate->comparison;
    };
    if (estimate && std::ranges::none_of(estimates, isOfTheSame)) {
      estimates.push_back(std::move(*estimate));
    }
  }
  return estimates;
}

}  // namespace kelvo::kernel_language
