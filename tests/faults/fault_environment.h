#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace kelvo::test {

// What the fault library is told; it looks at the program's calls that concern one directory.
using FaultEnvironment = std::map<std::string, std::string>;

// The call of this number, from 0, or none (-1) fails with this error; 0: a write takes only half.
inline FaultEnvironment failingCall(const std::string& directory, int call, int code) {
  return {{"LD_PRELOAD", KELVO_FAULT_LIBRARY},
          {"ASAN_OPTIONS", "verify_asan_link_order=0"},
          {"KELVO_FAULT_DIRECTORY", std::filesystem::canonical(directory).string()},
          {"KELVO_FAULT_CALL", std::to_string(call)},
          {"KELVO_FAULT_CODE", std::to_string(code)}};
}

// All calls succeed and are told.
inline FaultEnvironment tracedCalls(const std::string& directory) {
  FaultEnvironment environment = failingCall(directory, -1, 1);
  environment["KELVO_FAULT_TRACE"] = "1";
  return environment;
}

// Right before the call of this number something happens to a file, for some events by means of
// another one. One that is cut short ends the program under the sanitizers as it does without.
inline FaultEnvironment disturbedCall(const std::string& directory, int call,
                                      const std::string& event, const std::string& file,
                                      const std::string& other = {}) {
  FaultEnvironment environment = failingCall(directory, call, 1);
  environment["ASAN_OPTIONS"] += ":handle_sigbus=0";
  environment["KELVO_FAULT_EVENT"] = event;
  environment["KELVO_FAULT_FILE"] = file;
  if (!other.empty()) environment["KELVO_FAULT_OTHER"] = other;
  return environment;
}

}  // namespace kelvo::test
