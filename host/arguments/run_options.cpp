#include "host/arguments/run_options.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "host/arguments/setting_values.h"

namespace kelvo::host {
namespace {

constexpr std::size_t kMostJobs = 1024;

template <bool RunSettings::*member>
Result<void> turnOn(RunSettings& settings, std::string_view) {
  settings.*member = true;
  return {};
}

template <std::uint64_t RunSettings::*member, auto parse>
Result<void> setLimit(RunSettings& settings, std::string_view value) {
  const auto number = parse(value);
  if (!number) {
    return number.error();
  }
  settings.*member = *number;
  return {};
}

Result<void> setJobs(RunSettings& settings, std::string_view value) {
  std::size_t jobs = 0;
  const auto read = std::from_chars(value.data(), value.data() + value.size(), jobs);
  if (read.ec != std::errc() || read.ptr != value.data() + value.size() || jobs < 1 ||
      jobs > kMostJobs) {
    return Error{"must be a whole number from 1 to " + std::to_string(kMostJobs) + ", not '" +
                 std::string(value) + "'"};
  }
  settings.jobs = jobs;
  return {};
}

// So many that no sum of them runs over.
constexpr std::uint64_t kMostSeconds = 1'000'000'000;

Result<void> setSeconds(RunSettings& settings, std::string_view value) {
  const auto number = parseCount(value);
  if (!number) {
    return number.error();
  }
  settings.maxSeconds = std::min(*number, kMostSeconds);
  return {};
}

Result<void> setFilesFrom(RunSettings& settings, std::string_view value) {
  settings.filesFrom = std::string(value);
  return {};
}

Result<void> setOutputDirectory(RunSettings& settings, std::string_view value) {
  if (value.empty()) {
    return Error{"must name a directory"};
  }
  settings.outputDirectory = value;
  return {};
}

Result<void> setBackup(RunSettings& settings, std::string_view value) {
  if (value.empty() || value.find('/') != std::string_view::npos) {
    return Error{"must be the end of a file name, not '" + std::string(value) + "'"};
  }
  settings.backupSuffix = value;
  return {};
}

Result<void> setProgress(RunSettings& settings, std::string_view value) {
  if (value == "auto") {
    settings.progress = ProgressWanted::automatic;
  } else if (value == "always") {
    settings.progress = ProgressWanted::always;
  } else if (value == "never") {
    settings.progress = ProgressWanted::never;
  } else {
    return Error{"must be auto, always or never, not '" + std::string(value) + "'"};
  }
  return {};
}

Result<void> setDepth(RunSettings& settings, std::string_view value) {
  if (value != "8" && value != "keep") {
    return Error{"must be 8 or keep, not '" + std::string(value) + "'"};
  }
  settings.keepDepth = value == "keep";
  return {};
}

Result<void> setGainMap(RunSettings& settings, std::string_view value) {
  if (value != "keep" && value != "drop") {
    return Error{"must be keep or drop, not '" + std::string(value) + "'"};
  }
  settings.dropGainMap = value == "drop";
  return {};
}

constexpr RunOption kOptions[] = {
    {"-j,--jobs", "N", "work on N files at a time (default: one per available processor)", setJobs},
    {"--files-from", "LIST", "also take the file names in LIST, one a line; - is standard input",
     setFilesFrom},
    {"-0", "", "the names in LIST end in a NUL byte instead of a line break",
     turnOn<&RunSettings::filesFromNul>},
    {"--print0", "", "end the names on standard output with a NUL byte instead of a line break",
     turnOn<&RunSettings::printNul>},
    {"--output-dir", "DIR", "leave the files alone, put adjusted copies into DIR",
     setOutputDirectory},
    {"--backup", "SUFFIX", "keep each old file under its name with SUFFIX added", setBackup},
    {"--dry-run", "", "do everything except replacing the files", turnOn<&RunSettings::dryRun>},
    {"--progress", "WHEN", "show a progress bar: auto (on a terminal), always or never",
     setProgress},
    {"--json", "", "print one JSON record a file instead of the rewritten names",
     turnOn<&RunSettings::json>},
    {"--depth", "DEPTH", "8 writes 8 bits a channel (default), keep leaves deeper files at 16 bits",
     setDepth},
    {"--gain-map", "WHAT",
     "keep refuses JPEG files with a gain map, which would not fit the adjusted picture (default); "
     "drop leaves the map out",
     setGainMap},
    {"--keep-times", "", "give the new file the times of the old one",
     turnOn<&RunSettings::keepTimes>},
    {"--break-links", "", "also replace files that have several hard links",
     turnOn<&RunSettings::breakLinks>},
    {"-q,--quiet", "", "print errors only: no warnings, no progress", turnOn<&RunSettings::quiet>},
    {"--max-pixels", "N", "refuse frames of more than N pixels (default 1G; suffixes k M G T)",
     setLimit<&RunSettings::maxPixels, parseCount>},
    {"--max-frames", "N", "refuse files of more than N frames (default 10k)",
     setLimit<&RunSettings::maxFrames, parseCount>},
    {"--max-memory", "BYTES",
     "memory that all files worked on together may ask for (default 4G; suffixes k M G T)",
     setLimit<&RunSettings::maxMemoryBytes, parseByteCount>},
    {"--max-seconds", "N",
     "give up a file on which nothing gets on for N seconds, and more if it is large (default 120)",
     setSeconds},
};

}  // namespace

std::span<const RunOption> runOptions() { return kOptions; }

std::string_view longName(std::string_view names) {
  const std::size_t comma = names.find(',');
  return comma == std::string_view::npos ? names : names.substr(comma + 1);
}

Result<void> checkTogether(const RunSettings& settings) {
  if (settings.filesFromNul && !settings.filesFrom) {
    return Error{"option -0 needs --files-from"};
  }
  if (!settings.outputDirectory.empty() && !settings.backupSuffix.empty()) {
    return Error{"options --output-dir and --backup do not go together"};
  }
  if (settings.json && settings.printNul) {
    return Error{"options --json and --print0 do not go together"};
  }
  return {};
}

Result<void> checkPreview(const RunSettings& settings, std::size_t files) {
  if (settings.outputFile.empty()) {
    return Error{"a preview needs a new file to write: -o OUT"};
  }
  if (files != 1 || settings.filesFrom) {
    return Error{"a preview is made of exactly one file"};
  }
  if (!settings.outputDirectory.empty() || !settings.backupSuffix.empty() || settings.dryRun) {
    return Error{"options --output-dir, --backup and --dry-run do not go with a preview"};
  }
  return {};
}

}  // namespace kelvo::host
