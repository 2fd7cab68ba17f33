#include "fuzz/image_io/codec_fuzzer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int heic = kelvo::fuzz::fuzzCodec(kelvo::kHeicCodec, data, size);
  const int avif = kelvo::fuzz::fuzzCodec(kelvo::kAvifCodec, data, size);
  return heic < 0 && avif < 0 ? -1 : 0;
}
