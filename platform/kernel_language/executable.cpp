#include "platform/kernel_language/executable.h"

#include <utility>

#include "platform/kernel_language/plan.h"
#include "platform/kernel_language/simplify.h"

namespace kelvo::kernel_language {

Executable Executable::compile(const Program& program, std::span<const PixelLayout> inputs,
                               PixelLayout output, std::vector<SampledImage> images) {
  auto plan = std::make_shared<Plan>();
  plan->inputs.assign(inputs.begin(), inputs.end());
  plan->output = output;
  plan->images = std::move(images);
  plan->program = simplifyForLayouts(program, plan->inputs, plan->images);
  Executable executable;
  executable.plan_ = std::move(plan);
  return executable;
}

void Executable::run(std::span<const std::byte* const> inputs, std::byte* output,
                     std::size_t pixels, std::int32_t x, std::int32_t y) const {
  runPlainly(*plan_, {inputs, output, pixels, x, y});
}

bool Executable::usesTables() const { return false; }

std::string Executable::listing() const {
  std::string text;
  for (const Instruction& in : plan_->program.instructions) {
    text += opName(in.op);
    text += '\n';
  }
  return text;
}

std::vector<std::string> targets() { return {"SCALAR"}; }
std::string_view currentTarget() { return "SCALAR"; }
bool forceTarget(std::string_view name) { return name.empty() || name == "SCALAR"; }

}  // namespace kelvo::kernel_language
