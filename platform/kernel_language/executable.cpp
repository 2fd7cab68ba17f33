#include "platform/kernel_language/executable.h"

#include <bit>
#include <utility>

#include "platform/kernel_language/plan.h"
#include "platform/kernel_language/simplify.h"
#include "platform/kernel_language/vector_executor.h"

namespace kelvo::kernel_language {

namespace {

bool isConstantOne(const Program& program, ValueId value) {
  const Instruction& in = program.instructions[value];
  return in.op == Op::constant && std::bit_cast<float>(in.immediate) == 1.0F;
}

}  // namespace

// The passes, in order.
Executable Executable::compile(const Program& program, std::span<const PixelLayout> inputs,
                               PixelLayout output, std::vector<SampledImage> images) {
  auto plan = std::make_shared<Plan>();
  plan->inputs.assign(inputs.begin(), inputs.end());
  plan->output = output;
  plan->images = std::move(images);
  plan->program = simplifyForLayouts(program, plan->inputs, plan->images);
  plan->opaque = isConstantOne(plan->program, plan->program.outputs[3]);
  TapeResult result = makeTape(plan->program);
  plan->hasTape = result.ok;
  plan->tape = std::move(result.tape);
  Executable executable;
  executable.plan_ = std::move(plan);
  return executable;
}

void Executable::run(std::span<const std::byte* const> inputs, std::byte* output,
                     std::size_t pixels, std::int32_t x, std::int32_t y) const {
  const RowRun row{inputs, output, pixels, x, y};
  if (plan_->hasTape && usesVectors()) {
    runVectors(*plan_, row);
  } else {
    runPlainly(*plan_, row);
  }
}

bool Executable::usesTables() const { return false; }

std::string Executable::listing() const { return listingOf(plan_->tape); }

}  // namespace kelvo::kernel_language
