// The input as samples, which must come back as they were, and as a strip that may hold anything.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "platform/image_io/tiff/deflated_strile.h"
#include "platform/image_io/tiff/lzw.h"

using namespace kelvo::tiff;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return -1;
  const std::size_t rowBytes = std::size_t{1} + data[0];
  const auto input = std::as_bytes(std::span(data, size)).subspan(2);
  std::vector<std::byte> strip;
  std::vector<std::byte> samples(input.size());
  encodeLzw(input, strip);
  if (!decodeLzw(strip, samples) || !std::ranges::equal(samples, input)) std::abort();

  const auto rows = input.first(input.size() / rowBytes * rowBytes);
  if (!rows.empty()) {
    std::fill(samples.begin(), samples.end(), std::byte{0});
    const auto inflated = std::span(samples).first(rows.size());
    if (!Deflater(rowBytes).deflate(rows, strip)) std::abort();
    if (!Inflater().inflate(strip, inflated) || !std::ranges::equal(inflated, rows)) std::abort();
    if (!checkDeflated(strip)) std::abort();
  }

  std::vector<std::byte> any(std::size_t{data[1]} * 64);
  static_cast<void>(decodeLzw(input, any));
  static_cast<void>(Inflater().inflate(input, any));
  return 0;
}
