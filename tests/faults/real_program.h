#pragma once

#include <map>
#include <string>
#include <vector>

namespace kelvo::test {

// What a run of the program with its real action left behind.
struct ProgramRun {
  int status = -1;  // exit status; 128 and the signal if one ended it
  std::string output;
  std::string errors;
};

// Runs it to its end, with these variables added to the environment.
ProgramRun runProgram(const std::vector<std::string>& arguments,
                      const std::map<std::string, std::string>& environment = {});

}  // namespace kelvo::test
