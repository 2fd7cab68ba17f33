#pragma once

#include <span>
#include <vector>

#include "platform/kernel_language/ir.h"

// Comparisons that estimates settle. Where a sine and a cosine serve nothing but to be compared
// with a constant, it does not matter what they are exactly as long as what is compared stays clear
// of the constant by more than an estimate's error. A cheap estimate is computed first, and the
// comparison itself only for the few blocks in which some pixel comes too close: the results are
// the same, bit for bit. (The filter of robust geometric predicates: S. Fortune and C. Van Wyk,
// "Static analysis yields efficient exact integer arithmetic for computational geometry", 1996.)
//
// What is compared is the square of the distance of two points, the one in polar coordinates and
// moving, the other fixed, and squares of further differences:
//   (r cos h + p)^2 + (r sin h + q)^2 + rest.
// By the law of cosines that is r^2 + 2 r R cos(h - t) + R^2 + rest with p = R cos t, q = R sin t:
// one function instead of two, and few roundings.
namespace kelvo::kernel_language {

// How far an estimated cosine may be from the cosine of an angle, the rounding of the sum that the
// angle is included, for angles of up to kEstimatedAngle in size; estimates for larger ones are no
// numbers, and settle nothing.
constexpr float kCosEstimateError = 0x1p-20F;
constexpr float kEstimatedAngle = 16.0F;

struct Estimate {
  ValueId comparison = kNoValue;  // less or lessEqual, of one value and one constant
  ValueId angle = kNoValue;       // h, whose sine and cosine serve that comparison alone
  ValueId radius = kNoValue;      // r
  float turn = 0.0F;              // -t
  float doubled = 0.0F;           // 2 R
  float square = 0.0F;            // R^2
  ValueId mask = kNoValue;        // if there is one: where it is set,
  float whereMasked = 0.0F;       // this stands in place of all but the rest
  std::vector<ValueId> rest;      // to be added
  std::vector<ValueId> between;   // what lies between the functions and the comparison
  float threshold = 0.0F;         // the constant
  float error = 0.0F;             // what is further from the threshold is settled
};

// `ranges`: by value.
std::vector<Estimate> findEstimates(const Program& program, std::span<const Range> ranges);

}  // namespace kelvo::kernel_language
