// What other programs do to a file while it is being adjusted, at every instant there is, and what
// a power failure would leave.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/faults/fault_environment.h"
#include "tests/faults/real_program.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

std::string sample(const std::string& name) {
  return readFile(std::string(KELVO_SOURCE_DIR) + "/resources/samples/" + name);
}

class OtherPrograms : public ::testing::TestWithParam<std::tuple<const char*, const char*>> {
 protected:
  // Runs the program, with the event right before its n-th call, or with none.
  ProgramRun run(const TemporaryDirectory& directory, const std::string& file, int call) const {
    const auto [event, format] = GetParam();
    writeFile(file, old_);
    writeFile(directory.path("other"), other_);
    return runProgram(
        {"invert", "--jobs", "1", file},
        disturbedCall(directory.path("."), call, event, file, directory.path("other")));
  }

  // What the program makes of these bytes when nobody disturbs it; empty if it cannot.
  static std::string adjusted(const std::string& name, const std::string& contents,
                              const std::string& adjustment = "invert") {
    const TemporaryDirectory directory;
    writeFile(directory.path(name), contents);
    const ProgramRun run = runProgram({adjustment, directory.path(name)});
    return run.status == 0 ? readFile(directory.path(name)) : std::string();
  }

  // What the event leaves of the old file.
  [[nodiscard]] std::string disturbed() const {
    const std::string event = std::get<0>(GetParam());
    if (event == "truncate") return old_.substr(0, 100);
    if (event == "grow") return old_ + "more";
    return event == "protect" ? old_ : other_;
  }

  std::string name_ = std::get<1>(GetParam());
  std::string old_ = sample(name_);
  // A picture that the other program has just finished.
  std::string other_ = adjusted(name_, old_, "posterize");
};

TEST_P(OtherPrograms, NeverLoseWhatTheyHaveWritten) {
  const std::string event = std::get<0>(GetParam());
  const std::string adjustedOld = adjusted(name_, old_);
  const std::string adjustedOther = adjusted(name_, disturbed());
  ASSERT_NE(other_, "");
  ASSERT_NE(adjustedOld, other_);
  int refusals = 0;
  for (int call = 0;; ++call) {
    ASSERT_LT(call, 500);
    const TemporaryDirectory directory;
    const std::string file = directory.path(name_);
    const ProgramRun run = this->run(directory, file, call);
    const auto begins = run.errors.find("fault: ");
    if (begins == std::string::npos) break;  // fewer calls than that
    const std::string what =
        run.errors.substr(begins + 7, run.errors.find('\n', begins) - begins - 7);
    SCOPED_TRACE(std::to_string(call) + " " + what + "\n" + run.errors);
    // After the last look at the file there is one call left, at which it is too late.
    if (what == "renameat") continue;
    const bool gone = !fs::exists(file);
    const std::string left = gone ? "" : readFile(file);
    if (run.status != 0) {
      ++refusals;
      EXPECT_EQ(run.status, 1);
      EXPECT_EQ(run.output, "");
      EXPECT_THAT(run.errors, HasSubstr(file + ": Error: "));
      EXPECT_EQ(gone, event == "remove");
      EXPECT_TRUE(gone || left == disturbed());
    } else if (gone || left == disturbed()) {
      // It came after the file was replaced, to the new one.
      EXPECT_TRUE(what == "fsync" || what.starts_with("unlink")) << what;
    } else if (event == "truncate") {
      EXPECT_TRUE(left == adjustedOld.substr(0, 100));
    } else if (event == "grow") {
      // Bytes behind the end are part of some formats' files, and kept.
      EXPECT_TRUE(left == adjustedOld + "more" || left == adjustedOther);
    } else if (event == "protect") {
      EXPECT_TRUE(left == adjustedOld);
      struct stat status = {};
      ASSERT_EQ(::stat(file.c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 0777U, 0444U);
    } else {
      EXPECT_TRUE(left == adjustedOther) << "it must have come before the file was read";
    }
    // And nothing lies about.
    for (const std::string& name : directory.names()) {
      EXPECT_TRUE(name == name_ || name == "other") << name;
    }
  }
  EXPECT_GT(refusals, 3);
}

INSTANTIATE_TEST_SUITE_P(Program, OtherPrograms,
                         ::testing::Combine(::testing::Values("truncate", "grow", "overwrite",
                                                              "remove", "protect", "replace"),
                                            ::testing::Values("still-life.jpg", "poster.png",
                                                              "two-pages.tif")),
                         [](const auto& one) {
                           std::string name =
                               std::string(std::get<0>(one.param)) + "_" + std::get<1>(one.param);
                           std::ranges::replace_if(
                               name, [](char c) { return c == '.' || c == '-'; }, '_');
                           return name;
                         });

// 1000 x 1000 pixels of 24 bits, so many that the first are written while the last are read.
std::string largeBmp() {
  std::string bytes("BM\0\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\xe8\3\0\0\xe8\3\0\0\1\0\x18\0", 30);
  bytes.resize(54);
  for (int i = 0; i < 1000 * 1000 * 3; ++i) bytes += static_cast<char>(i * 7 + i / 1000);
  return bytes;
}

// A file that is cut short under the decoder's eyes ends the worker, not the run.
TEST(CutShort, WhileItIsReadFailsThatFileOnlyAndSaysSo) {
  const std::string old = largeBmp();
  bool crashed = false;
  for (int call = 0; call < 100 && !crashed; ++call) {
    const TemporaryDirectory directory;
    const std::string first = directory.path("first.bmp");
    const std::string second = directory.path("second.bmp");
    writeFile(first, old);
    writeFile(second, old);
    const ProgramRun run = runProgram({"invert", "--jobs", "1", first, second},
                                      disturbedCall(directory.path("."), call, "truncate", first));
    crashed = run.errors.find("(signal 7)") != std::string::npos;
    if (!crashed) continue;
    EXPECT_THAT(run.errors,
                HasSubstr(first + ": Error: the file was cut short while it was being read, or "
                                  "its disk cannot read it (signal 7)\n"));
    EXPECT_EQ(run.output, second + "\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(fs::file_size(first), 100U);
    EXPECT_EQ(directory.names().size(), 2U);
  }
  EXPECT_TRUE(crashed) << "no call comes while pixels are read";
}

struct Call {
  std::string name;
  std::string file;
};

std::vector<Call> callsOn(const std::string& directory, const std::string& file,
                          const std::vector<std::string>& options = {}) {
  std::vector<std::string> arguments = {"invert", "--jobs", "1", file};
  arguments.insert(arguments.end(), options.begin(), options.end());
  const ProgramRun run = runProgram(arguments, tracedCalls(directory));
  EXPECT_EQ(run.status, 0) << run.errors;
  std::vector<Call> calls;
  std::istringstream lines(run.errors);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string mark;
    Call call;
    if (words >> mark >> call.name && mark == "call:") {
      std::getline(words >> std::ws, call.file);
      calls.push_back(call);
    }
  }
  return calls;
}

// Where the last of these calls is; -1 if there is none.
std::ptrdiff_t last(const std::vector<Call>& calls, const std::function<bool(const Call&)>& is) {
  const auto found = std::find_if(calls.rbegin(), calls.rend(), is);
  return calls.rend() - found - 1;
}

// What is on the disk at any instant is what was flushed to it before.
TEST(PowerFailure, FindsTheContentsOnTheDiskBeforeTheName) {
  for (const char* name : {"still-life.jpg", "poster.png", "two-pages.tif"}) {
    SCOPED_TRACE(name);
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, {"--keep-times"}, {"--backup", ".old"}}) {
      const TemporaryDirectory place;
      const std::string directory = fs::canonical(place.path("."));
      const std::string file = directory + "/" + name;
      writeFile(file, sample(name));
      const std::vector<Call> calls = callsOn(directory, file, options);
      const auto change = [&](const Call& call) {
        return call.name.starts_with("pwrite") || call.name == "write" ||
               call.name.starts_with("ftruncate") || call.name == "fchmod" ||
               call.name == "fchown" || call.name == "fsetxattr" || call.name == "futimens";
      };
      const auto lastChange = last(calls, change);
      const auto contentsFlushed = last(
          calls, [&](const Call& call) { return call.name == "fsync" && call.file != directory; });
      const auto renamed = last(
          calls, [&](const Call& call) { return call.name == "renameat" && call.file == file; });
      const auto nameFlushed = last(
          calls, [&](const Call& call) { return call.name == "fsync" && call.file == directory; });
      ASSERT_GE(lastChange, 0);
      EXPECT_LT(lastChange, contentsFlushed);
      EXPECT_LT(contentsFlushed, renamed);
      EXPECT_LT(renamed, nameFlushed);
      const auto backedUp = last(calls, [&](const Call& call) {
        return call.name == "linkat" && call.file == file + ".old";
      });
      EXPECT_EQ(backedUp >= 0, !options.empty() && options[0] == "--backup");
      EXPECT_LT(backedUp, renamed);
    }
  }
}

}  // namespace
}  // namespace kelvo::test
