#pragma once

#include <jxl/decode.h>
#include <jxl/encode.h>
#include <jxl/thread_parallel_runner.h>

#include <memory>

// The library's objects, owned.
namespace kelvo::jxl {

struct DecoderCloser {
  void operator()(JxlDecoder* decoder) const { JxlDecoderDestroy(decoder); }
};
using Decoder = std::unique_ptr<JxlDecoder, DecoderCloser>;

struct EncoderCloser {
  void operator()(JxlEncoder* encoder) const { JxlEncoderDestroy(encoder); }
};
using Encoder = std::unique_ptr<JxlEncoder, EncoderCloser>;

struct RunnerCloser {
  void operator()(void* runner) const { JxlThreadParallelRunnerDestroy(runner); }
};
// Null for the calling thread alone.
using Runner = std::unique_ptr<void, RunnerCloser>;

inline Runner makeRunner(unsigned threads) {
  return Runner(threads > 1 ? JxlThreadParallelRunnerCreate(nullptr, threads) : nullptr);
}

}  // namespace kelvo::jxl
