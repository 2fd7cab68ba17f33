// The best x86 target has byte permutations that the tables use.
#define HWY_WANT_AVX3_DL

#include "platform/kernel_language/vector_executor.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/kernel_language/vector_executor.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "platform/kernel_language/scratch.h"
#include "platform/kernel_language/vector_calls-inl.h"
#include "platform/kernel_language/vector_pixels-inl.h"
#include "platform/kernel_language/vector_sample-inl.h"
#include "platform/kernel_language/vector_steps-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

// A machine without any of the vectors that we know.
void runRow(const Executable::Plan& plan, const RowRun& row) { runPlainly(plan, row); }

#else

namespace {

constexpr std::size_t kMaximumPixelBytes = 5 * sizeof(float);

// Runs a tape along a row, block by block.
class RowRunner {
 public:
  // `registers`: as many block registers as floatsFor says.
  RowRunner(const Executable::Plan& plan, const RowRun& row, float* registers)
      : plan_(plan),
        row_(row),
        registers_(registers),
        planes_(reinterpret_cast<std::uint8_t*>(registers_ + plan.tape.registers * kBlock)) {
    for (const Tape::Constant& constant : plan.tape.constants) {
      fill(constant.target, std::bit_cast<float>(constant.bits));
    }
  }

  // One register more than the tape has holds the rendered bytes.
  static std::size_t floatsFor(const Executable::Plan& plan) {
    return (plan.tape.registers + std::size_t{1}) * kBlock;
  }

  HWY_ATTR void run() {
    std::size_t done = 0;
    for (; row_.pixels - done >= kBlock; done += kBlock) runWhole(done);
    if (done < row_.pixels) runPart(done, row_.pixels - done);
  }

 private:
  [[nodiscard]] float* at(Register number) const { return registerAt(registers_, number); }
  [[nodiscard]] float* atOrNull(Register number) const {
    return number == kNoRegister ? nullptr : at(number);
  }

  HWY_ATTR void fill(Register target, float value) {
    const D d;
    const V k = hn::Set(d, value);
    float* to = at(target);
    for (std::size_t i = 0; i < kBlock; i += kLanes) hn::Store(k, d, to + i);
  }

  void load(std::size_t source, const std::byte* pixels) {
    std::array<float*, 4> to{};
    for (const Tape::Input& input : plan_.tape.inputs) {
      if (input.source == source) to[input.component] = at(input.target);
    }
    if (std::ranges::any_of(to, [](const float* c) { return c != nullptr; })) {
      loadPixels(plan_.inputs[source], pixels, to);
    }
  }

  void store(std::byte* pixels) {
    if (plan_.renders) {
      joinRendered(planes_, plan_.output.components, reinterpret_cast<std::uint8_t*>(pixels));
      return;
    }
    const std::array<Register, 4>& outputs = plan_.tape.outputs;
    storePixels(plan_.output, {at(outputs[0]), at(outputs[1]), at(outputs[2]), at(outputs[3])},
                plan_.opaque, pixels);
  }

  void runWhole(std::size_t done) {
    for (std::size_t i = 0; i < plan_.inputs.size(); ++i) {
      load(i, row_.inputs[i] + done * plan_.inputs[i].pixelBytes());
    }
    runTape(done);
    store(row_.output + done * plan_.output.pixelBytes());
  }

  // The rest of a row goes through a buffer: nothing beyond the row is read or written.
  void runPart(std::size_t done, std::size_t pixels) {
    HWY_ALIGN std::array<std::byte, kMaximumPixelBytes * kBlock> buffer;
    for (std::size_t i = 0; i < plan_.inputs.size(); ++i) {
      const std::size_t pixelBytes = plan_.inputs[i].pixelBytes();
      buffer.fill(std::byte{0});
      std::memcpy(buffer.data(), row_.inputs[i] + done * pixelBytes, pixels * pixelBytes);
      load(i, buffer.data());
    }
    runTape(done);
    store(buffer.data());
    const std::size_t pixelBytes = plan_.output.pixelBytes();
    std::memcpy(row_.output + done * pixelBytes, buffer.data(), pixels * pixelBytes);
  }

  void runTape(std::size_t done) {
    const Step* step = plan_.tape.steps.data();
    for (;; ++step) {
      step = runSteps(step, registers_, planes_);
      switch (step->code) {
        case Code::call:
          call(step->op, at(step->target[0]), at(step->m[0]), at(step->m[1]), at(step->m[2]));
          break;
        case Code::sinCos:
          sinCosCall(at(step->target[0]), at(step->target[1]), at(step->m[0]));
          break;
        case Code::powOfFraction:
          powOfFractionCall(at(step->target[0]), at(step->m[0]), step->k[0]);
          break;
        case Code::sample:
          sampleBlock(plan_.images[step->index], at(step->m[0]), at(step->m[1]),
                      {atOrNull(step->target[0]), atOrNull(step->target[1]),
                       atOrNull(step->target[2]), atOrNull(step->target[3])});
          break;
        case Code::destX:
          fillColumns(step->target[0], row_.x + static_cast<std::int32_t>(done));
          break;
        case Code::destY:
          fill(step->target[0], static_cast<float>(row_.y));
          break;
        default:
          return;
      }
    }
  }

  HWY_ATTR void fillColumns(Register target, std::int32_t first) {
    const D d;
    const DI di;
    float* to = at(target);
    for (std::size_t i = 0; i < kBlock; i += kLanes) {
      const VI columns = hn::Iota(di, first + static_cast<std::int32_t>(i));
      hn::Store(hn::ConvertTo(d, columns), d, to + i);
    }
  }

  const Executable::Plan& plan_;
  const RowRun& row_;
  float* registers_;
  std::uint8_t* planes_;
};

}  // namespace

void runRow(const Executable::Plan& plan, const RowRun& row) {
  float* registers = scratchFloats(RowRunner::floatsFor(plan));
  if (registers == nullptr) {
    runPlainly(plan, row);  // needs next to no memory
    return;
  }
  RowRunner(plan, row, registers).run();
}

#endif

std::int64_t targetHere() { return HWY_TARGET; }

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kelvo::kernel_language {

HWY_EXPORT(runRow);
HWY_EXPORT(targetHere);

void runVectors(const Executable::Plan& plan, const RowRun& row) {
  HWY_DYNAMIC_DISPATCH(runRow)(plan, row);
}

// Found once, before a test narrows the choice.
const std::vector<std::int64_t>& vectorTargets() {
  static const std::vector<std::int64_t> all = [] {
    std::vector<std::int64_t> found = hwy::SupportedAndGeneratedTargets();
    std::erase(found, HWY_SCALAR);  // ours is plainer still
    return found;
  }();
  return all;
}

std::int64_t vectorTarget() { return HWY_DYNAMIC_DISPATCH(targetHere)(); }

}  // namespace kelvo::kernel_language
#endif
