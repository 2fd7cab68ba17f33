#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Output, IsTheRewrittenPathsAndNothingElse) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b", "print");
  const std::string c = place.file("c", "warn");
  const Finished finished = runKelvo({"invert", a, b, c});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, a + "\n" + b + "\n" + c + "\n");
  EXPECT_EQ(place.rewritings("a"), 1);
  EXPECT_EQ(place.rewritings("b"), 1);
}

TEST(Output, LeavesOutWhatWasNotRewritten) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b", "fail");
  const std::string c = place.file("c", "skip");
  const std::string d = place.path("none");
  const Finished finished = runKelvo({"invert", "--jobs", "1", a, b, c, d});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.output, a + "\n");
  EXPECT_EQ(finished.errors,
            b + ": Error: Cann't load this file, status problem (told to fail)\n" + c +
                ": Warning: Ignoring photoshop image\n" + d +
                ": Error: Cann't load this file, source problem (there is no such file)\n");
  EXPECT_EQ(place.rewritings("b"), 0);
}

TEST(Output, SaysSoIfTheActionSaysNothing) {
  const Workplace place;
  const std::string a = place.file("a", "silent");
  const Finished finished = runKelvo({"invert", a});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.errors, a + ": Error: the action did not rewrite the file\n");
}

TEST(Output, TellsTheWarningsOfRewrittenFiles) {
  const Workplace place;
  const std::string a = place.file("a", "warn");
  const Finished finished = runKelvo({"invert", a});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors,
            a + ": Warning: of the log (why)\n" + a + ": Warning: of the outcome\n");
}

TEST(Output, SaysThatDepthWasReducedUnlessItIsKept) {
  const Workplace place;
  const std::string a = place.file("a", "deep");
  EXPECT_EQ(runKelvo({"invert", a}).errors,
            a + ": Warning: 16 bits a channel became 8; --depth keep keeps them\n");
  EXPECT_EQ(runKelvo({"invert", "--depth", "keep", a}).errors, "");
}

TEST(Output, KeepsQuietAboutAllButErrors) {
  const Workplace place;
  const std::string a = place.file("a", "warn");
  const std::string b = place.file("b", "fail");
  const Finished finished = runKelvo({"invert", "--quiet", "--progress", "always", a, b});
  EXPECT_EQ(finished.output, a + "\n");
  EXPECT_EQ(finished.errors, b + ": Error: Cann't load this file, status problem (told to fail)\n");
}

TEST(Output, ShowsNoProgressInAPipe) {
  const Workplace place;
  EXPECT_EQ(runKelvo({"invert", place.file("a")}).errors, "");
}

TEST(Output, ShowsProgressOnATerminalAndTakesItAwayAtTheEnd) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b", "wait");
  StartOptions options;
  options.terminal = true;
  KelvoProcess process({"invert", "--jobs", "1", a, b}, options);
  process.awaitErrors("] 1/2 files");
  place.letGo("b");
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, a + "\n" + b + "\n");
  EXPECT_THAT(finished.errors, HasSubstr("\r\x1b[Kkelvo: 2 of 2 files rewritten in "));
  EXPECT_THAT(finished.errors, EndsWith(" s\r\n"));
}

TEST(Output, PutsMessagesAboveTheProgressLine) {
  const Workplace place;
  const std::string a = place.file("a", "wait");
  const std::string b = place.file("b", "fail");
  const std::string c = place.file("c", "wait");
  KelvoProcess process({"invert", "--jobs", "1", "--progress", "always", a, b, c});
  process.awaitErrors("0/3 files");
  place.letGo("a");
  process.awaitErrors("told to fail");
  process.awaitErrors("2/3 files");
  place.letGo("c");
  const Finished finished = process.wait();
  EXPECT_THAT(finished.errors,
              HasSubstr("\r\x1b[K" + b + ": Error: Cann't load this file, status problem"));
  EXPECT_EQ(finished.output, a + "\n" + c + "\n");
}

TEST(Output, EndsNamesInNulBytesIfAskedTo) {
  const Workplace place;
  const std::string a = place.file("a\nb");
  const std::string c = place.file("c");
  using namespace std::string_literals;
  EXPECT_EQ(runKelvo({"invert", "--print0", a, c}).output, a + "\0"s + c + "\0"s);
}

TEST(Output, TakesAReaderThatHasGoneAwayAsNormal) {
  const Workplace place;
  std::vector<std::string> arguments = {"invert"};
  for (int i = 0; i < 20; ++i) {
    arguments.push_back(place.file("f" + std::to_string(i)));
  }
  StartOptions options;
  options.closedOutput = true;
  const Finished finished = runKelvo(arguments, options);
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors, "");
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(place.rewritings("f" + std::to_string(i)), 1);
  }
}

TEST(Output, SaysThatItCannotBeWritten) {
  const Workplace place;
  StartOptions options;
  options.outputFile = "/dev/full";
  const Finished finished = runKelvo({"invert", place.file("a")}, options);
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.errors, "kelvo: standard output cannot be written: No space left on device\n");
}

TEST(Files, ComeFromAListToo) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b c");
  const std::string d = place.file("-d");
  std::ofstream(place.path("list")) << b << "\n\n" << d;  // the last line break may be missing
  const Finished finished = runKelvo({"invert", "--files-from", place.path("list"), a});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, a + "\n" + b + "\n" + d + "\n");
}

TEST(Files, ComeFromStandardInputWithEitherEnd) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b\nc");
  using namespace std::string_literals;
  StartOptions options;
  options.input = a + "\n";
  EXPECT_EQ(runKelvo({"invert", "--files-from", "-"}, options).output, a + "\n");
  options.input = b + "\0"s + a + "\0"s;
  const Finished finished = runKelvo({"invert", "-0", "--files-from", "-"}, options);
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, b + "\n" + a + "\n");
}

TEST(Files, MayBeNoneInAList) {
  const Finished finished = runKelvo({"invert", "--files-from", "-"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output + finished.errors, "");
}

TEST(Files, MayBeginWithADashBehindTwoDashes) {
  const Workplace place;
  place.file("-x");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(place.path("."));
  const Finished finished = runKelvo({"invert", "--", "-x"});
  std::filesystem::current_path(before);
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, "-x\n");
}

TEST(Settings, ReachTheActionAsThePanelWouldStoreThem) {
  const Workplace place;
  const std::string a = place.file("a");
  EXPECT_EQ(runKelvo({"posterize", "--levels", "4", a}).status, 0);
  EXPECT_THAT(place.read("a"), HasSubstr("filterPopUp=16 posterizeSlider=4.000000 "));
  place.file("a");
  EXPECT_EQ(runKelvo({"posterize", a}).status, 0);
  EXPECT_THAT(place.read("a"), HasSubstr("filterPopUp=16 posterizeSlider=2.0 "));
  place.file("a");
  EXPECT_EQ(runKelvo({"colorize", "--color", "#ff000080", "--hue", "-30.5", a}).status, 0);
  EXPECT_THAT(place.read("a"),
              HasSubstr("colorizeColorWellA=0.501961 colorizeColorWellB=0.000000 "
                        "colorizeColorWellG=0.000000 colorizeColorWellR=1.000000 "
                        "colorizeHueSlider=-30.500000 colorizeIntensitySlider=0 filterPopUp=8 "));
  place.file("a");
  EXPECT_EQ(runKelvo({"colorize", a}).status, 0);
  EXPECT_THAT(place.read("a"), HasSubstr("colorizeColorWellR=0.0581305 "));
}

TEST(Settings, OfTheRunReachTheActionToo) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b");
  EXPECT_EQ(runKelvo({"invert", "--max-pixels", "2M", "--max-frames", "7", "--max-memory", "1k",
                      "--keep-times", "--break-links", "--gain-map", "drop", "--jobs", "2", a, b})
                .status,
            0);
  // The memory is shared among the workers.
  EXPECT_THAT(place.read("a"),
              HasSubstr("pixels=2000000 frames=7 memory=512 times=1 links=1 gain=1 "));
}

TEST(Settings, FilesShareTheProcessors) {
  cpu_set_t own;
  ASSERT_EQ(::sched_getaffinity(0, sizeof own, &own), 0);
  const int processors = CPU_COUNT(&own);
  const auto threads = [](int count) {
    return " threads=" + std::to_string(count) + "," + std::to_string(count) + " ";
  };
  const Workplace place;
  const std::string alone = place.file("alone");
  EXPECT_EQ(runKelvo({"invert", alone}).status, 0);
  EXPECT_THAT(place.read("alone"), HasSubstr(threads(processors)));
  const std::string a = place.file("a");
  const std::string b = place.file("b");
  EXPECT_EQ(runKelvo({"invert", "--jobs", "1", a, b}).status, 0);
  EXPECT_THAT(place.read("b"), HasSubstr(threads(processors)));
  EXPECT_EQ(runKelvo({"invert", "--jobs", "2", a, b}).status, 0);
  EXPECT_THAT(place.read("a"), HasSubstr(threads(std::max(1, processors / 2))));
  std::vector<std::string> many = {"invert"};
  for (int i = 0; i < processors; ++i) many.push_back(place.file("f" + std::to_string(i)));
  EXPECT_EQ(runKelvo(many).status, 0);
  EXPECT_THAT(place.read("f0"), HasSubstr(threads(1)));
}

TEST(Settings, LeaveTheFilesAloneInADryRun) {
  const Workplace place;
  const std::string a = place.file("a");
  const Finished finished = runKelvo({"invert", "--dry-run", a});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, a + "\n");
  EXPECT_EQ(place.rewritings("a"), 0);
}

TEST(ManyFiles, AreAllRewrittenAndToldInOrder) {
  const Workplace place;
  std::string names;
  for (int i = 0; i < 2000; ++i) {
    names += place.file("f" + std::to_string(i)) + "\n";
  }
  StartOptions options;
  options.input = names;
  const Finished finished = runKelvo({"invert", "--jobs", "4", "--files-from", "-"}, options);
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors, "");
  EXPECT_TRUE(finished.output == names);
  for (int i = 0; i < 2000; ++i) {
    EXPECT_EQ(place.rewritings("f" + std::to_string(i)), 1);
  }
}

}  // namespace
}  // namespace kelvo::host
