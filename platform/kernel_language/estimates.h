#pragma once

#include <span>
#include <vector>

#include "platform/kernel_language/ir.h"

// Comparisons that estimates settle. Where a sine and a cosine serve nothing but to be compared
// with a constant, by way of sums and products, it does not matter what they are exactly as long as
// what is compared stays clear of the constant by more than an estimate's error. The steps are then
// run with estimates, and once more with the functions themselves for the few blocks in which some
// pixel comes too close: the results are the same, bit for bit. (The filter of robust geometric
// predicates: S. Fortune and C. Van Wyk, "Static analysis yields efficient exact integer arithmetic
// for computational geometry", 1996.)
namespace kelvo::kernel_language {

// How far an estimated sine or cosine may be from the function's float, for angles of up to
// kEstimatedAngle in size; estimates for larger ones are no numbers, and settle nothing.
constexpr float kSinCosEstimateError = 0x1p-20F;
constexpr float kEstimatedAngle = 32.0F;

struct Estimate {
  ValueId comparison = kNoValue;  // less or lessEqual, of one value and one constant
  ValueId angle = kNoValue;       // whose sine and cosine serve that comparison alone
  float threshold = 0.0F;         // the constant
  float error = 0.0F;             // of the value; what is further from the threshold is settled
};

// `ranges`: by value.
std::vector<Estimate> findEstimates(const Program& program, std::span<const Range> ranges);

}  // namespace kelvo::kernel_language
