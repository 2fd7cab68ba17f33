// Any bytes are curves that can be drawn, or refused with a message.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "curves_editor/acv_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto curves = kelvo::parseAcv(std::as_bytes(std::span(data, size)));
  if (!curves) {
    if (curves.error().message.empty()) std::abort();
    return 0;
  }
  std::size_t read = 4;
  for (const auto& curve : *curves) {
    if (curve.size() < 2 || curve.size() > 19) std::abort();
    for (std::size_t i = 1; i < curve.size(); ++i) {
      if (curve[i - 1].input >= curve[i].input) std::abort();
    }
    read += 2 + 4 * curve.size();
  }
  if (curves->empty() || read > size) std::abort();
  return 0;
}
