// Names and links that a file system can come up with, through the whole program.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "platform/image_io/file_descriptor.h"
#include "tests/faults/files_fixture.h"

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

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

}  // namespace
}  // namespace kelvo::test
