// Megapixels a second of whole chains, on each vector target of this machine. Every benchmark first
// compares one picture with the plain implementation's.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bench/kernel_language/chains.h"

namespace kelvo::kernel_language::bench {
namespace {

// A strip of a photograph as the renderer passes it on: the rows stay in second-level cache.
constexpr std::size_t kWidth = 4000;
constexpr std::size_t kHeight = 16;

std::vector<std::byte> picture(const PixelLayout& layout) {
  std::mt19937 random(1);
  std::vector<std::byte> pixels(kWidth * kHeight * layout.pixelBytes());
  for (std::byte& b : pixels) b = static_cast<std::byte>(random());
  if (layout.alpha == AlphaInfo::none || layout.type != SampleType::u8) return pixels;
  // Premultiplied: colour is not above alpha.
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    for (std::size_t c = 0; c < 3; ++c) pixels[i + c] = std::min(pixels[i + c], pixels[i + 3]);
  }
  return pixels;
}

void render(const Executable& executable, const Chain& chain, const std::vector<std::byte>& from,
            std::vector<std::byte>& to) {
  for (std::size_t y = 0; y < kHeight; ++y) {
    const std::byte* row = from.data() + y * kWidth * chain.input.pixelBytes();
    const std::array inputs{row};
    executable.run(inputs, to.data() + y * kWidth * chain.output.pixelBytes(), kWidth, 0,
                   static_cast<std::int32_t>(y));
  }
}

void runChain(benchmark::State& state, const Chain& chain, const std::string& target) {
  const std::array layouts{chain.input};
  const Executable executable =
      Executable::compile(chain.program, layouts, chain.output, chain.images);
  const std::vector<std::byte> from = picture(chain.input);
  std::vector<std::byte> to(kWidth * kHeight * chain.output.pixelBytes());
  std::vector<std::byte> expected = to;
  forceTarget("SCALAR");
  render(executable, chain, from, expected);
  if (!forceTarget(target)) {
    state.SkipWithError("this machine does not have the target");
    return;
  }
  render(executable, chain, from, to);
  if (to != expected) {
    state.SkipWithError("the result differs from the plain implementation's");
    return;
  }
  for (auto _ : state) {
    render(executable, chain, from, to);
    benchmark::ClobberMemory();
  }
  state.SetLabel(std::string(currentTarget()) + (executable.usesTables() ? " tables" : ""));
  state.counters["MP/s"] = benchmark::Counter(static_cast<double>(kWidth * kHeight) * 1e-6,
                                              benchmark::Counter::kIsIterationInvariantRate);
  state.SetBytesProcessed(static_cast<std::int64_t>(from.size() + to.size()) *
                          static_cast<std::int64_t>(state.iterations()));
  forceTarget("");
}

void compileChain(benchmark::State& state, const Chain& chain) {
  const std::array layouts{chain.input};
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        Executable::compile(chain.program, layouts, chain.output, chain.images));
  }
}

}  // namespace
}  // namespace kelvo::kernel_language::bench

int main(int argc, char** argv) {
  using namespace kelvo::kernel_language;
  for (const bench::Chain& chain : bench::chains()) {
    for (const std::string& target : targets()) {
      benchmark::RegisterBenchmark((chain.name + '/' + target).c_str(), bench::runChain, chain,
                                   target);
    }
    benchmark::RegisterBenchmark((chain.name + "/compile").c_str(), bench::compileChain, chain);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
