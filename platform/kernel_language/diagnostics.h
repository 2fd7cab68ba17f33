#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/kernel_language/kernel.h"

namespace kelvo::kernel_language {

// Where something stands in a source: from 1, columns in bytes.
struct Position {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
};

// Collects what is wrong with one source. After a fixed number of reports the rest are counted as
// one, so that a hopeless text does not drown its first, useful messages.
class Diagnostics {
 public:
  void report(Position position, std::string message);

  [[nodiscard]] bool empty() const { return list_.empty(); }

  // The reports in the order of the text.
  [[nodiscard]] std::vector<Diagnostic> take() &&;

 private:
  std::vector<Diagnostic> list_;
  bool full_ = false;
};

}  // namespace kelvo::kernel_language
