#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

using nlohmann::json;

std::vector<json> records(const std::string& output) {
  std::vector<json> found;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    found.push_back(json::parse(line));
  }
  return found;
}

TEST(Json, HasOneRecordForEachFileInTheirOrder) {
  const Workplace place;
  const std::string a = place.file("a", "deep");
  const std::string b = place.file("b", "fail");
  const std::string c = place.file("c", "skip");
  const std::string d = place.file("d", "crash");
  const Finished finished = runKelvo({"invert", "--json", "--quiet", a, b, c, d});
  EXPECT_EQ(finished.status, 1);
  std::vector<json> found = records(finished.output);
  ASSERT_EQ(found.size(), 4U);
  for (json& record : found) {
    EXPECT_GE(record["seconds"].get<double>(), 0);
    record.erase("seconds");
  }
  EXPECT_EQ(found[0],
            json({{"path", a},
                  {"result", "rewritten"},
                  {"frames", 3},
                  {"depth", 8},
                  {"sourceDepth", 16},
                  {"message", "Warning: 16 bits a channel became 8; --depth keep keeps them"}}));
  EXPECT_EQ(found[1],
            json({{"path", b},
                  {"result", "failed"},
                  {"frames", 3},
                  {"depth", 0},
                  {"sourceDepth", 8},
                  {"message", "Error: Cann't load this file, status problem (told to fail)"}}));
  EXPECT_EQ(found[2], json({{"path", c},
                            {"result", "skipped"},
                            {"frames", 3},
                            {"depth", 0},
                            {"sourceDepth", 8},
                            {"message", "Warning: Ignoring photoshop image"}}));
  EXPECT_EQ(found[3], json({{"path", d},
                            {"result", "failed"},
                            {"frames", 0},
                            {"depth", 0},
                            {"sourceDepth", 0},
                            {"message", "Error: the worker process crashed (signal 11)"}}));
}

TEST(Json, TellsWhereACopyWent) {
  const Workplace place;
  const std::string a = place.file("in/a");
  const auto found =
      records(runKelvo({"invert", "--json", "--output-dir", place.path("out"), a}).output);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0]["path"], a);
  EXPECT_EQ(found[0]["output"], place.path("out/a"));
}

TEST(Json, SaysThatItWasADryRun) {
  const Workplace place;
  const auto found = records(runKelvo({"invert", "--json", "--dry-run", place.file("a")}).output);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0]["dryRun"], true);
  EXPECT_EQ(found[0]["result"], "rewritten");
}

TEST(Json, HoldsNamesThatAreNotUtf8) {
  const Workplace place;
  const std::string a = place.file("a\xFF\nb");
  const Finished finished = runKelvo({"invert", "--json", a});
  EXPECT_EQ(finished.status, 0);
  const auto found = records(finished.output);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0]["path"], place.path("a\xEF\xBF\xBD\nb"));
  EXPECT_TRUE(found[0]["pathUrl"].get<std::string>().ends_with("/a%FF%0Ab"));
}

TEST(Json, GivesTheReasonInEveryRecordIfTheActionCannotBeRun) {
  const Workplace place;
  const std::string crash =
      place.workflow("w.kelvo", {R"({"opening": "crash", "filterPopUp": 13})"});
  const auto found =
      records(runKelvo({"run", crash, "--json", place.file("a"), place.file("b")}).output);
  ASSERT_EQ(found.size(), 2U);
  for (const json& record : found) {
    EXPECT_EQ(record["result"], "failed");
    EXPECT_EQ(record["message"],
              "the action 'Kelvo Images' cannot be run: the worker process crashed (signal 11)");
  }
}

}  // namespace
}  // namespace kelvo::host
