#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kelvo::test {

// What a run of the program with its real action left behind.
struct ProgramRun {
  int status = -1;  // exit status; 128 and the signal if one ended it
  std::string output;
  std::string errors;
  std::uint64_t peakBytes = 0;  // of resident memory, of its largest process
  double processorSeconds = 0;  // of all its processes
};

// Whether its memory and time are what they are without the sanitizers, which keep what is freed to
// notice its use.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kCostIsTheProgramsOwn = false;
#else
constexpr bool kCostIsTheProgramsOwn = true;
#endif

// Runs it to its end, with these variables added to the environment. `prepare` is called in the new
// process right before the program starts: to set limits, to change the user, to close streams.
ProgramRun runProgram(const std::vector<std::string>& arguments,
                      const std::map<std::string, std::string>& environment = {},
                      const std::function<void()>& prepare = {});

// The same, but does not wait: a signal is sent to the program after so many microseconds.
ProgramRun runAndSignal(const std::vector<std::string>& arguments, int signal,
                        std::uint64_t microseconds);

}  // namespace kelvo::test
