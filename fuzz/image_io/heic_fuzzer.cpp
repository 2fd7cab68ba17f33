#include "fuzz/image_io/codec_fuzzer.h"

// The HEVC encoder of the distribution loses a kilobyte with each picture.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libx265"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return kelvo::fuzz::fuzzCodec(kelvo::kHeicCodec, data, size);
}
