#include "fuzz/image_io/codec_fuzzer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return kelvo::fuzz::fuzzCodec(kelvo::kJxlCodec, data, size);
}
