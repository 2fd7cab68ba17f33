#pragma once

#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/faults/real_program.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {

// A directory for photographs, and what the program makes of one.
class Files : public ::testing::Test {
 protected:
  // A photograph under this name.
  std::string make(const std::string& name) const {
    const std::string path = directory_.path(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeFile(path, old_);
    return path;
  }
  void expectAdjusted(const std::string& path) const { EXPECT_TRUE(readFile(path) == adjusted_); }
  void expectUntouched(const std::string& path) const { EXPECT_TRUE(readFile(path) == old_); }
  // Runs the program as a user who may do nothing special.
  static ProgramRun runUnprivileged(const std::vector<std::string>& arguments) {
    return runProgram(arguments, {}, [] {
      if (::geteuid() != 0) return;
      if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) {
        ::_exit(126);
      }
    });
  }
  // Gives a file or directory to that user; others can do nothing of the kind and own it anyway.
  static void give(const std::string& path) {
    if (::geteuid() == 0) {
      EXPECT_EQ(::chown(path.c_str(), kNobody, kNobody), 0);
    }
  }

  static constexpr uid_t kNobody = 65534;
  TemporaryDirectory directory_;
  std::string old_ = readFile(std::string(KELVO_SOURCE_DIR) + "/resources/samples/still-life.jpg");
  std::string adjusted_ = [this] {
    const std::string path = directory_.path("adjusted");
    writeFile(path, old_);
    EXPECT_EQ(runProgram({"invert", path}).status, 0);
    std::string bytes = readFile(path);
    std::filesystem::remove(path);
    return bytes;
  }();
};

}  // namespace kelvo::test
