#include "platform/kernel_language/executable.h"

#include <algorithm>
#include <array>
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

void runProgram(const Executable::Plan& plan, const RowRun& row) {
  if (plan.hasTape && usesVectors()) {
    runVectors(plan, row);
  } else {
    runPlainly(plan, row);
  }
}

// Runs the program over the 256 grays.
ChannelTables tabulate(Executable::Plan plan, std::size_t source) {
  constexpr std::size_t kLevels = 256;
  std::array<std::uint8_t, 3 * kLevels> grays{};
  for (std::size_t i = 0; i < grays.size(); ++i) grays[i] = static_cast<std::uint8_t>(i / 3);
  const std::vector<const std::byte*> inputs(plan.inputs.size(),
                                             std::as_bytes(std::span(grays)).data());
  plan.output = plan.inputs[source];
  // The other sources take no part; they read the same grays.
  std::ranges::fill(plan.inputs, plan.inputs[source]);
  std::array<std::uint8_t, 3 * kLevels> results{};
  runProgram(plan, {inputs, std::as_writable_bytes(std::span(results)).data(), kLevels, 0, 0});
  return {source, tablesOf(results)};
}

void runTables(const Executable::Plan& plan, const RowRun& row) {
  const auto* from = reinterpret_cast<const std::uint8_t*>(row.inputs[plan.tables->source]);
  auto* to = reinterpret_cast<std::uint8_t*>(row.output);
  const LevelTables& levels = plan.tables->levels;
  if (usesVectors()) {
    levels.apply(from, to, row.pixels, plan.output.components);
  } else {
    levels.applyPlainly(from, to, row.pixels, plan.output.components);
  }
}

}  // namespace

// The passes, in order.
Executable Executable::compile(const Program& program, std::span<const PixelLayout> inputs,
                               PixelLayout output, std::vector<SampledImage> images) {
  auto plan = std::make_shared<Plan>();
  plan->inputs.assign(inputs.begin(), inputs.end());
  plan->output = output;
  plan->images = std::move(images);
  SimplifiedProgram simplified = simplifyForLayouts(program, plan->inputs, output, plan->images);
  plan->program = std::move(simplified.program);
  plan->opaque = isConstantOne(plan->program, plan->program.outputs[3]);
  plan->renders = plan->opaque && output.type == SampleType::u8;
  TapeResult result =
      makeTape(plan->program, {.render = plan->renders,
                               .isSmall = simplified.isSmall,
                               .estimates = findEstimates(plan->program, simplified.ranges)});
  plan->hasTape = result.ok;
  plan->tape = std::move(result.tape);
  if (const auto source = separableSource(plan->program, plan->inputs, output)) {
    plan->tables = tabulate(*plan, *source);
  }
  Executable executable;
  executable.plan_ = std::move(plan);
  return executable;
}

void Executable::run(std::span<const std::byte* const> inputs, std::byte* output,
                     std::size_t pixels, std::int32_t x, std::int32_t y) const {
  const RowRun row{inputs, output, pixels, x, y};
  if (plan_->tables) {
    runTables(*plan_, row);
  } else {
    runProgram(*plan_, row);
  }
}

bool Executable::usesTables() const { return plan_->tables.has_value(); }

std::string Executable::listing() const { return listingOf(plan_->tape); }

}  // namespace kelvo::kernel_language
