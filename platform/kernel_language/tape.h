#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kernel_language/estimates.h"
#include "platform/kernel_language/ir.h"

// Programs as the vector executor runs them: steps of an accumulator machine.
//
// A block of pixels is eight vectors long. The accumulator is those eight vectors, held in
// processor registers; a block register is the same in first-level cache. A step does one thing to
// the whole block, so that the cost of choosing what to do is spread over eight vectors, and an
// operand costs a load, never a store. Values that several steps use are stored.
namespace kelvo::kernel_language {

// Operands in the order of the operation: A the accumulator, M a block register, K a constant.
// The result is the accumulator, and where the step has a target it is stored there too.
enum class Code : std::uint8_t {
  // clang-format off
  loadM, loadK,
  neg, abs, sign, floor, ceil, fract, sqrt, square,
  // An estimate of cos(A + K).
  cosEstimate,
  maskNot,
  addAM, addAK, addMM, addMK,
  subAM, subMA, subKA, subMM, subKM,
  mulAM, mulAK, mulMM, mulMK,
  divAM, divMA, divAK, divKA, divMM, divMK, divKM,
  minAM, minMA, minAK, minKA, minMM, minMK, minKM,
  maxAM, maxMA, maxAK, maxKA, maxMM, maxMK, maxKM,
  lessAM, lessMA, lessAK, lessKA, lessMM, lessMK, lessKM,
  lessEqualAM, lessEqualMA, lessEqualAK, lessEqualKA, lessEqualMM, lessEqualMK, lessEqualKM,
  equalAM, equalAK, equalMM, equalMK,
  notEqualAM, notEqualAK, notEqualMM, notEqualMK,
  maskAndAM, maskAndMM, maskOrAM, maskOrMM, maskXorAM, maskXorMM,
  // mask, chosen where it is set, chosen elsewhere
  selectAMM, selectAMK, selectAKM, selectAKK, selectMAM, selectMAK, selectMMA, selectMKA, selectMKK,
  // Several operations, each rounded by itself. A + M K, A + M M, A - M M, M M + K:
  addProductMK, addProductMM, subProductMM, productAdd,
  // A K + M, A K + K, (A + K) K, (A + K) + K, (A + K) K + K, ((A + K) + K) K + K:
  scaleAddM, scaleAddK, addScale, addAdd, addScaleAdd, addAddScaleAdd,
  // (M - M) K + M, and (M - N) K + N:
  subScaleAdd, scaleFrom,
  // M K + M K, and M K more, and K more, the sums from left to right:
  weightedPair, weightedSum, weightedSumAdd,
  // min(third M, min(M, M)), and max:
  leastOfThree, mostOfThree,
  // Turns the accumulator into 8-bit levels of a component of the opaque output; renderSmall where
  // the values are known to be small.
  render, renderSmall,
  // Passes over the next `index` steps, which compute the accumulator anew, if it is further than
  // the second K from the first K in the whole block.
  skipSettled,
  // Passes over the next `index` steps if any pixel of the block has the mask M.
  skipIfAny,
  // Leaves the accumulator; the operands and the result are block registers.
  // sinCos: the sine of M and its cosine, two results.
  // powOfFraction: M to the power of K.
  call, sinCos, powOfFraction, sample, destX, destY, end,
  // clang-format on
};

std::string_view codeName(Code code);
unsigned codeRegisters(Code code);  // operands among the block registers; of `call` at most
unsigned codeConstants(Code code);  // constant operands
bool leavesAccumulator(Code code);

// Which block register, by number.
using Register = std::uint16_t;

struct Step {
  Code code = Code::end;
  Op op = Op::constant;              // of `call`
  std::uint16_t index = 0;           // of `sample` the image, of `render` the component, of
                                     // the skips how many steps
  std::array<Register, 3> m{};       // operands; of `sample` the coordinates
  std::array<Register, 4> target{};  // results; of `sample` by component, of `sinCos`
                                     // two, else the first
  std::array<float, 4> k{};
};

// No result wanted.
constexpr Register kNoRegister = 0xffff;

struct Tape {
  struct Input {
    std::uint32_t source;
    std::uint32_t component;
    Register target;
  };
  struct Constant {
    std::uint32_t bits;
    Register target;
  };
  std::vector<Constant> constants;    // filled once, never overwritten
  std::vector<Input> inputs;          // filled before the steps of each block
  std::vector<Step> steps;            // the last is `end`
  std::array<Register, 4> outputs{};  // unless the steps render
  std::uint32_t registers = 0;
};

struct TapeOptions {
  bool render = false;            // the output is opaque and has 8 bits: the steps render it
  std::array<bool, 4> isSmall{};  // see SimplifiedProgram
  std::vector<Estimate> estimates;
};

// Selects steps, orders them and allocates block registers. Programs that would need more than
// 65534 registers at once are beyond it; `ok` is false then and the tape empty.
struct TapeResult {
  Tape tape;
  bool ok = true;
};
TapeResult makeTape(const Program& program, const TapeOptions& options);

std::string listingOf(const Tape& tape);

}  // namespace kelvo::kernel_language
