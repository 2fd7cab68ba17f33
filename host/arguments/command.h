#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/foundation/parameter_value.h"
#include "platform/image_io/limits.h"

// What a command line asks for, before any file is looked at.
namespace kelvo::host {

// Long enough for a sleeping disk or a busy server.
constexpr std::uint64_t kDefaultMaxSeconds = 120;

enum class ProgressWanted { automatic, always, never };

// The options of the commands that run over files.
struct RunSettings {
  std::size_t jobs = 0;                  // 0: as many as there are processors
  std::optional<std::string> filesFrom;  // "-" is standard input
  bool filesFromNul = false;             // names end in a NUL byte, not in a line break
  bool printNul = false;                 // so do the names on standard output
  std::string outputDirectory;           // not empty: copies there are adjusted
  std::string outputFile;                // not empty: the one file's adjusted copy
  std::string backupSuffix;              // not empty: the old file stays under its name plus this
  bool dryRun = false;
  ProgressWanted progress = ProgressWanted::automatic;
  bool json = false;
  bool keepDepth = false;
  bool dropGainMap = false;
  bool keepTimes = false;
  bool breakLinks = false;
  bool quiet = false;
  std::uint64_t maxPixels = kDefaultMaxPixels;
  std::uint64_t maxFrames = kDefaultMaxFrames;
  std::uint64_t maxMemoryBytes = kDefaultMaxMemoryBytes;
  std::uint64_t maxSeconds = kDefaultMaxSeconds;  // without progress
};

// Text for standard output, and then success: help, the version.
struct ShowText {
  std::string text;
};

struct ListFormats {
  bool json = false;
};

// One adjustment over files.
struct RunAdjustment {
  ParameterDictionary parameters;
  RunSettings settings;
  std::vector<std::string> files;
};

// A saved workflow, or, without one, the action with its defaults.
struct RunWorkflow {
  std::string workflow;                                        // path; empty: none given
  std::vector<std::pair<std::string, std::string>> overrides;  // --set, in their order
  RunSettings settings;
  std::vector<std::string> files;
};

// The window.
struct EditWorkflow {
  std::string workflow;  // path; empty: a new one
  std::vector<std::string> files;
};

using Command = std::variant<ShowText, ListFormats, RunAdjustment, RunWorkflow, EditWorkflow>;

}  // namespace kelvo::host
