#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

TEST(Workflow, RunsItsActionWithItsParameters) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string workflow =
      place.workflow("w.kelvo", {R"({"filterPopUp": "16", "posterizeSlider": 4})"});
  const Finished finished = runKelvo({"run", workflow, a});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, a + "\n");
  EXPECT_THAT(place.read("a"), HasSubstr("filterPopUp=16 posterizeSlider=4 "));
}

TEST(Workflow, RunsItsActionsOneAfterTheOtherInWorkersOfTheirOwn) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b", "fail");
  const std::string c = place.file("c");
  const std::string workflow = place.workflow(
      "w.kelvo",
      {R"({"mark": "first", "filterPopUp": 13})", R"({"mark": "second", "filterPopUp": 13})"});
  const Finished finished = runKelvo({"run", workflow, "--jobs", "1", a, b, c});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.output, a + "\n" + c + "\n");
  // What the first did not rewrite does not reach the second.
  EXPECT_EQ(finished.errors, b + ": Error: Cann't load this file, status problem (told to fail)\n");
  for (const char* name : {"a", "c"}) {
    const std::string text = place.read(name);
    EXPECT_THAT(text, MatchesRegex("ok\nfirst process=[0-9]+ opened=1\n"
                                   "second process=[0-9]+ opened=1\n"));
    const std::size_t first = text.find("process=");
    const std::size_t second = text.find("process=", first + 1);
    EXPECT_NE(text.substr(first, text.find(' ', first) - first),
              text.substr(second, text.find(' ', second) - second));
  }
}

TEST(Workflow, TakesParametersFromTheCommandLine) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string workflow = place.workflow(
      "w.kelvo", {R"({"filterPopUp": "13", "mark": "document"})", R"({"filterPopUp": "13"})"});
  const Finished finished =
      runKelvo({"run", workflow, "--set", "mark=mine", "--set", "filterPopUp=7", a});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_EQ(place.rewritings("a"), 2);
  EXPECT_THAT(place.read("a"), MatchesRegex("ok\nmine [^\n]*\nmine [^\n]*\n"));
}

TEST(Workflow, IsTheActionsDefaultsIfThereIsNone) {
  const Workplace place;
  const std::string a = place.file("a");
  const Finished finished = runKelvo({"run", "--set", "filterPopUp=13", a});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_THAT(place.read("a"), HasSubstr("default process="));
}

TEST(Workflow, IsTheFirstNameOnly) {
  const Workplace place;
  const std::string workflow = place.workflow("w.kelvo", {R"({"filterPopUp": "13"})"});
  const std::string file = place.file("photo.kelvo");
  const Finished finished = runKelvo({"run", workflow, file});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, file + "\n");
}

TEST(Workflow, LogsWhatTheActionLogsWhenItIsOpened) {
  const Workplace place;
  const std::string workflow =
      place.workflow("w.kelvo", {R"({"opening": "log", "filterPopUp": "13"})"});
  const Finished finished = runKelvo({"run", workflow, place.file("a")});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors, "Warning: opened\n");
}

}  // namespace
}  // namespace kelvo::host
