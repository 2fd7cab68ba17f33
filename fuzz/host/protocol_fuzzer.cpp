#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "host/workers/protocol.h"

// The first byte says in pieces of what size the rest arrives. Every message that is read is read
// again from its own frame.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvo::host;
  if (size == 0) return 0;
  const std::size_t piece = std::size_t{data[0]} + 1;
  std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  FrameReader reader;
  while (!rest.empty()) {
    const std::string_view part = rest.substr(0, piece);
    rest.remove_prefix(part.size());
    reader.append(part);
    while (true) {
      const auto next = reader.next();
      if (!next) return 0;
      if (!next->has_value()) break;
      const auto again = decodePayload(std::string_view(encodeFrame(**next)).substr(4));
      // As bytes: a parameter may be a number that is not equal to itself.
      if (!again || encodeFrame(*again) != encodeFrame(**next)) std::abort();
    }
  }
  return 0;
}
