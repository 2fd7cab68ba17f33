#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvo::host {

enum class Outcome {
  waiting,  // not through the last action yet
  rewritten,
  skipped,  // left alone on purpose: a warning, no error
  failed,
  notRun,  // the run ended before
};

// What a run has to tell about one file.
struct FileRecord {
  Outcome outcome = Outcome::waiting;
  std::uint64_t frames = 0;
  std::uint32_t sourceDepth = 0;   // bits per component as found, of the first action
  std::uint32_t writtenDepth = 0;  // and as last written
  double seconds = 0;              // in all actions
  std::size_t actionsDone = 0;     // that rewrote it
  std::string errors;              // joined by "; "
  std::string warnings;
};

// One record of --json, with its line break. `output` is the file that was written.
std::string jsonRecord(const FileRecord& record, const std::string& path, const std::string& output,
                       bool dryRun);

}  // namespace kelvo::host
