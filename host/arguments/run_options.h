#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "host/arguments/command.h"
#include "platform/foundation/result.h"

namespace kelvo::host {

// One option of the commands that run over files.
struct RunOption {
  std::string_view names;  // as on the command line, "-q,--quiet"
  std::string_view value;  // what its value is called; empty: it takes none
  std::string_view help;
  // Errors are clauses about the value ("must be ...").
  Result<void> (*apply)(RunSettings& settings, std::string_view value);
};

std::span<const RunOption> runOptions();

// The name that messages use: the long one.
std::string_view longName(std::string_view names);

// What no single option can tell: options that go together or do not.
Result<void> checkTogether(const RunSettings& settings);

// The same for a preview, which works on one file.
Result<void> checkPreview(const RunSettings& settings, std::size_t files);

}  // namespace kelvo::host
