// Names, links, permissions and limits that a file system can come up with, through the whole
// program.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/image_io/file_descriptor.h"
#include "tests/faults/real_program.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class Files : public ::testing::Test {
 protected:
  // A photograph under this name.
  std::string make(const std::string& name) const {
    const std::string path = directory_.path(name);
    fs::create_directories(fs::path(path).parent_path());
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
    fs::remove(path);
    return bytes;
  }();
};

class Names : public Files {};

const std::vector<std::string> kAwkwardNames = {
    "line\nbreak.jpg",
    "tab\there.jpg",
    "red\x1b[31m.jpg",
    "bytes \xff\xfe\x80.jpg",
    "csi \xc2\x9b"
    "31m.jpg",
    "turned \xe2\x80\xae gpj.jpg",
    "-q",
    "--json",
    " ",
    "*?[a]'\"\\$(x).jpg",
    ".hidden",
    "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80.jpg",
    std::string(255, 'n'),
};

TEST_F(Names, OfAllKindsAreAdjustedAndGoFromOneRunToTheNext) {
  std::string list;
  for (const std::string& name : kAwkwardNames) list += make("d/" + name) + '\0';
  writeFile(directory_.path("list"), list);
  const ProgramRun run =
      runProgram({"invert", "--files-from", directory_.path("list"), "-0", "--print0"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, list);
  for (const std::string& name : kAwkwardNames) expectAdjusted(directory_.path("d/" + name));
  EXPECT_EQ(
      static_cast<std::size_t>(std::distance(fs::directory_iterator(directory_.path("d")), {})),
      kAwkwardNames.size());
}

TEST_F(Names, FromTheDirectoryTheyAreInMayBeginWithDashes) {
  for (const std::string& name : kAwkwardNames) make("d/" + name);
  std::vector<std::string> arguments = {"invert", "--"};
  arguments.insert(arguments.end(), kAwkwardNames.begin(), kAwkwardNames.end());
  const std::string place = directory_.path("d");
  const ProgramRun run =
      runProgram(arguments, {}, [&] { [[maybe_unused]] const int in = ::chdir(place.c_str()); });
  EXPECT_EQ(run.status, 0) << run.errors;
  for (const std::string& name : kAwkwardNames) expectAdjusted(directory_.path("d/" + name));
}

TEST_F(Names, AreWordsOfJsonWithTheirBytes) {
  std::vector<std::string> arguments = {"invert", "--json"};
  std::vector<std::string> paths;
  for (const std::string& name : kAwkwardNames) paths.push_back(make("d/" + name));
  arguments.insert(arguments.end(), paths.begin(), paths.end());
  const ProgramRun run = runProgram(arguments);
  EXPECT_EQ(run.status, 0) << run.errors;
  std::istringstream lines(run.output);
  std::vector<std::string> told;
  for (std::string line; std::getline(lines, line);) {
    const auto record = nlohmann::json::parse(line);
    std::string path = record.at("path");
    if (record.contains("pathUrl")) {
      const std::string url = record.at("pathUrl");
      ASSERT_TRUE(url.starts_with("file://")) << url;
      path.clear();
      for (std::size_t at = 7; at < url.size(); ++at) {
        if (url[at] == '%') {
          path += static_cast<char>(std::stoi(url.substr(at + 1, 2), nullptr, 16));
          at += 2;
        } else {
          path += url[at];
        }
      }
    }
    told.push_back(path);
  }
  EXPECT_EQ(told, paths);
}

TEST_F(Names, InMessagesCommandNoTerminal) {
  for (const std::string& name : kAwkwardNames) {
    SCOPED_TRACE(name);
    const ProgramRun run = runProgram({"invert", directory_.path(name)});
    EXPECT_EQ(run.status, 1);
    ASSERT_FALSE(run.errors.empty());
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_EQ(run.errors.back(), '\n');
    for (const char* command : {"\x1b", "\t", "\xc2\x9b", "\xe2\x80\xae", "\xfe\x80"}) {
      EXPECT_THAT(run.errors, Not(HasSubstr(command)));
    }
    EXPECT_THAT(run.errors, HasSubstr(": Error: Cann't load this file, source problem (the file "
                                      "could not be found: there is no such file)"));
  }
  EXPECT_THAT(
      runProgram({"invert", directory_.path("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80")}).errors,
      HasSubstr("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"));
}

TEST_F(Names, ThatAreTooLongAreToldAndTheOthersAdjusted) {
  const std::string a = make("a.jpg");
  const std::string longName = directory_.path(std::string(256, 'n'));
  const ProgramRun run = runProgram({"invert", longName, a});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output, a + "\n");
  EXPECT_EQ(run.errors, longName +
                            ": Error: Cann't load this file, source problem (the file could not be "
                            "found: file name too long)\n");
}

TEST_F(Names, OfMoreBytesThanTheSystemTakesAreShortenedIfTheyCanBe) {
  const std::string a = make("a.jpg");
  std::string longPath = directory_.path("");
  while (longPath.size() < 5000) longPath += "././././";
  const ProgramRun run = runProgram({"invert", longPath + "a.jpg"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, longPath + "a.jpg\n");
  expectAdjusted(a);
}

// Deeper than any path can say; a name from there is short.
TEST_F(Names, InADirectoryOfTooLongAPathAreAdjustedOrTold) {
  const std::string step(250, 'd');
  int depth = 0;
  const FileDescriptor start(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(::chdir(directory_.path("").c_str()), 0);
  for (; depth < 20; ++depth) {
    ASSERT_EQ(::mkdir(step.c_str(), 0777), 0);
    ASSERT_EQ(::chdir(step.c_str()), 0);
  }
  writeFile("a.jpg", old_);
  const ProgramRun run = runProgram({"invert", "a.jpg"});
  const std::string left = readFile("a.jpg");
  const auto names = std::distance(fs::directory_iterator("."), {});
  ASSERT_EQ(::unlink("a.jpg"), 0);
  for (; depth > 0; --depth) {
    ASSERT_EQ(::chdir(".."), 0);
    ASSERT_EQ(::rmdir(step.c_str()), 0);
  }
  ASSERT_EQ(::fchdir(start.get()), 0);
  EXPECT_EQ(names, 1);
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(left == old_);
  EXPECT_EQ(
      run.errors,
      "a.jpg: Error: Cann't load this file, source problem (the file could not be found: file "
      "name too long)\n");
}

TEST_F(Names, OfBackupsThatWouldBeTooLongAreToldBeforeAnythingHappens) {
  const std::string file = make(std::string(252, 'n'));
  const ProgramRun run = runProgram({"invert", "--backup", ".old", file});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.errors, HasSubstr("backup"));
  EXPECT_THAT(run.errors, HasSubstr("file name too long"));
  expectUntouched(file);
}

class Links : public Files {};

TEST_F(Links, InChainsLeadToTheFileAndStay) {
  const std::string file = make("there/a.jpg");
  fs::create_symlink("there/a.jpg", directory_.path("one"));
  fs::create_symlink(directory_.path("one"), directory_.path("two"));
  fs::create_directory_symlink("there", directory_.path("here"));
  fs::create_symlink("here/../two", directory_.path("three"));
  const ProgramRun run = runProgram({"invert", directory_.path("three")});
  EXPECT_EQ(run.status, 0) << run.errors;
  expectAdjusted(file);
  for (const char* link : {"one", "two", "three"}) {
    EXPECT_TRUE(fs::is_symlink(directory_.path(link)));
  }
  EXPECT_FALSE(fs::is_symlink(file));
}

TEST_F(Links, ThatLeadNowhereAreTold) {
  const std::string file = make("a.jpg");
  fs::create_symlink("round", directory_.path("round"));
  fs::create_symlink("nothing", directory_.path("dangling"));
  const ProgramRun run =
      runProgram({"invert", directory_.path("round"), directory_.path("dangling"), file});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output, file + "\n");
  EXPECT_THAT(run.errors,
              HasSubstr(directory_.path("round") +
                        ": Error: Cann't load this file, source problem (the file could "
                        "not be found: too many symbolic links)\n"));
  EXPECT_THAT(run.errors,
              HasSubstr(directory_.path("dangling") +
                        ": Error: Cann't load this file, source problem (the file could "
                        "not be found: there is no such file)\n"));
  EXPECT_FALSE(fs::exists(directory_.path("nothing")));
}

TEST_F(Links, IntoAnotherFileSystemLeadThere) {
  if (::access("/dev/shm", W_OK) != 0) GTEST_SKIP() << "there is no second file system";
  const std::string far = "/dev/shm/kelvo-test-" + std::to_string(::getpid()) + ".jpg";
  writeFile(far, old_);
  fs::create_symlink(far, directory_.path("a.jpg"));
  const ProgramRun run = runProgram({"invert", directory_.path("a.jpg")});
  const std::string left = readFile(far);
  fs::remove(far);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_TRUE(left == adjusted_);
  EXPECT_TRUE(fs::is_symlink(directory_.path("a.jpg")));
}

TEST_F(Links, ThatAreHardAreRefusedUnlessTheyMayBeParted) {
  const std::string a = make("a.jpg");
  const std::string b = directory_.path("b.jpg");
  fs::create_hard_link(a, b);
  ProgramRun run = runProgram({"invert", a, b});
  EXPECT_EQ(run.status, 1);
  for (const std::string& file : {a, b}) {
    EXPECT_THAT(run.errors, HasSubstr(file + ": Error: Cann't finalize (the file has 2 hard links; "
                                             "replacing it would part them (--break-links allows "
                                             "it))\n"));
    expectUntouched(file);
  }
  EXPECT_EQ(fs::hard_link_count(a), 2U);
  run = runProgram({"invert", "--break-links", a, b});
  EXPECT_EQ(run.status, 0) << run.errors;
  expectAdjusted(a);
  expectAdjusted(b);
}

TEST_F(Links, OfOneFileUnderManyNamesAdjustItOnceForEachName) {
  const std::string file = make("a.jpg");
  fs::create_symlink("a.jpg", directory_.path("link"));
  ASSERT_EQ(runProgram({"invert", file}).status, 0);
  ASSERT_EQ(runProgram({"invert", file}).status, 0);
  ASSERT_EQ(runProgram({"invert", file}).status, 0);
  const std::string thrice = readFile(file);
  writeFile(file, old_);
  const ProgramRun run = runProgram(
      {"invert", "--jobs", "3", file, directory_.path("./a.jpg"), directory_.path("link")});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_TRUE(readFile(file) == thrice);
}

class Permissions : public Files {};

TEST_F(Permissions, ThatForbidWritingTheFileAreObeyed) {
  const std::string file = make("a.jpg");
  give(directory_.path(""));
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
  give(file);
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file +
                            ": Error: Cann't finalize (the file may not be written: permission "
                            "denied)\n");
  expectUntouched(file);
}

TEST_F(Permissions, ThatForbidReadingTheFileAreTold) {
  const std::string file = make("a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0777), 0);
  ASSERT_EQ(::chmod(file.c_str(), 0222), 0);
  give(file);
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file +
                            ": Error: Cann't load this file, source problem (the file could not "
                            "be opened: permission denied)\n");
}

TEST_F(Permissions, OfADirectoryThatMayNotBeListedDoNotMatter) {
  const std::string file = make("d/a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  give(file);
  give(directory_.path("d"));
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0333), 0);
  const ProgramRun run = runUnprivileged({"invert", file});
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0755), 0);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  expectAdjusted(file);
}

TEST_F(Permissions, OfADirectoryThatMayNotBeChangedAreTold) {
  const std::string file = make("d/a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  give(file);
  give(directory_.path("d"));
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0555), 0);
  const ProgramRun run = runUnprivileged({"invert", file});
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0755), 0);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file +
                            ": Error: Cann't finalize (the temporary file could not be created: "
                            "permission denied)\n");
  expectUntouched(file);
}

// In a directory like /tmp, everybody may write a file of mode 666 but only its owner replace it.
TEST_F(Permissions, OfASharedDirectoryKeepOthersFromReplacing) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can make a file of another user";
  const std::string file = make("d/a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  ASSERT_EQ(::chmod(file.c_str(), 0666), 0);
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 01777), 0);
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file +
                            ": Error: Cann't finalize (the new file could not take the old one's "
                            "place: operation not permitted)\n");
  expectUntouched(file);
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_.path("d")), {}), 1);
}

TEST_F(Permissions, OfAnotherOwnersFileGoToTheNewOneAsFarAsTheyCan) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can make a file of another user";
  const std::string file = make("d/a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  ASSERT_EQ(::chown(file.c_str(), 1234, 1235), 0);
  ASSERT_EQ(::chmod(file.c_str(), 06666), 0);
  give(directory_.path("d"));
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.errors,
              HasSubstr("Warning: the owner could not be kept: operation not permitted"));
  EXPECT_THAT(run.errors,
              HasSubstr("Warning: the group could not be kept: operation not permitted"));
  expectAdjusted(file);
  struct stat status = {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, kNobody);
  EXPECT_EQ(status.st_mode & 07777U, 0666U) << "the new owner must not lend his rights";
}

TEST_F(Permissions, AndCapabilitiesStayForTheSuperuser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can do that";
  const std::string file = make("a.jpg");
  ASSERT_EQ(::chown(file.c_str(), 1234, 1235), 0);
  ASSERT_EQ(::chmod(file.c_str(), 06755), 0);
  // cap_net_raw, as setcap writes it: version 2, effective, permitted bit 13.
  const std::string capability("\x01\0\0\x02\0\x20\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 20);
  const bool capable =
      ::setxattr(file.c_str(), "security.capability", capability.data(), capability.size(), 0) == 0;
  const ProgramRun run = runProgram({"invert", file});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  expectAdjusted(file);
  struct stat status = {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 1234U);
  EXPECT_EQ(status.st_gid, 1235U);
  EXPECT_EQ(status.st_mode & 07777U, 06755U);
  if (capable) {
    std::string kept(capability.size(), '\0');
    EXPECT_EQ(::getxattr(file.c_str(), "security.capability", kept.data(), kept.size()), 20);
    EXPECT_EQ(kept, capability);
  }
}

// Flags that chattr sets.
bool setFlag(const std::string& path, int flag, bool on) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  int flags = 0;
  if (::ioctl(file.get(), FS_IOC_GETFLAGS, &flags) != 0) return false;
  flags = on ? flags | flag : flags & ~flag;
  return ::ioctl(file.get(), FS_IOC_SETFLAGS, &flags) == 0;
}

TEST_F(Permissions, ThatEvenTheSuperuserHasToObeyAreTold) {
  for (const int flag : {FS_IMMUTABLE_FL, FS_APPEND_FL}) {
    const std::string file = make("a.jpg");
    if (!setFlag(file, flag, true)) GTEST_SKIP() << "this file system or user has no such flags";
    const ProgramRun run = runProgram({"invert", file});
    EXPECT_TRUE(setFlag(file, flag, false));
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr(file + ": Error: Cann't finalize ("));
    EXPECT_THAT(run.errors, HasSubstr(": operation not permitted)\n"));
    expectUntouched(file);
    EXPECT_THAT(directory_.names(), ElementsAre("a.jpg"));
  }
}

TEST_F(Files, WithHolesAreAdjustedLikeOthers) {
  const std::string file = directory_.path("holes.bmp");
  // 200 x 400 pixels of 24 bits, of which only the head is on the disk: all black.
  std::string head("BM\0\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\xc8\0\0\0\x90\x01\0\0\x01\0\x18\0", 30);
  head.resize(54);
  writeFile(file, head);
  fs::resize_file(file, 54 + 200 * 400 * 3);
  const ProgramRun run = runProgram({"invert", file});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_TRUE(readFile(file) == head + std::string(200 * 400 * 3, '\xff'));
}

TEST_F(Files, ThatMayNotGrowSoLargeAreLeftAsTheyWere) {
  const std::string a = make("a.jpg");
  const ProgramRun run = runProgram({"invert", a}, {}, [] {
    const rlimit small = {8192, 8192};
    ::setrlimit(RLIMIT_FSIZE, &small);
  });
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, a + ": Error: Cann't finalize (the new file could not be written: file too "
                            "large)\n");
  expectUntouched(a);
}

TEST_F(Files, AreAllAdjustedThoughTheResultCannotBeTold) {
  std::vector<std::string> arguments = {"invert"};
  for (int i = 0; i < 20; ++i) arguments.push_back(make(std::to_string(i) + ".jpg"));
  // Standard output is a file that may not grow.
  const std::string list = directory_.path("list");
  const ProgramRun run = runProgram(arguments, {}, [&] {
    const int output = ::open(list.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0666);
    ::dup2(output, STDOUT_FILENO);
    const std::string full(60'000, '\n');
    if (::write(output, full.data(), full.size()) != 60'000) ::_exit(125);
    const rlimit small = {60'000, 60'000};
    ::setrlimit(RLIMIT_FSIZE, &small);
  });
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, "kelvo: standard output cannot be written: File too large\n");
  for (std::size_t i = 1; i < arguments.size(); ++i) expectAdjusted(arguments[i]);
}

TEST_F(Files, AreWholeWheneverASignalComes) {
  std::mt19937 random(7);
  std::vector<std::string> arguments = {"invert", "--jobs", "2"};
  std::vector<std::string> files;
  for (int i = 0; i < 40; ++i) files.push_back(directory_.path(std::to_string(i) + ".jpg"));
  arguments.insert(arguments.end(), files.begin(), files.end());
  int interrupted = 0;
  for (int round = 0; round < 24; ++round) {
    const int signal = std::vector{SIGINT, SIGTERM, SIGHUP, SIGKILL}[round % 4];
    SCOPED_TRACE(signal);
    for (const std::string& file : files) writeFile(file, old_);
    const ProgramRun run = runAndSignal(arguments, signal, random() % 300'000);
    const std::set<std::string> names = directory_.names();
    std::string rewritten;
    for (const std::string& file : files) {
      const std::string now = readFile(file);
      EXPECT_TRUE(now == old_ || now == adjusted_) << file;
      if (now == adjusted_) rewritten += file + "\n";
    }
    // A program that is asked to stop says what it has done; one that is killed cannot.
    if (run.status == 130 || run.status == 0) {
      EXPECT_EQ(run.output, rewritten);
      EXPECT_EQ(names.size(), files.size());
    }
    interrupted += run.status != 0 ? 1 : 0;
  }
  EXPECT_GT(interrupted, 5);
  for (const std::string& file : files) writeFile(file, old_);
  EXPECT_EQ(runProgram(arguments).status, 0);
  EXPECT_EQ(directory_.names().size(), files.size());
}

}  // namespace
}  // namespace kelvo::test
