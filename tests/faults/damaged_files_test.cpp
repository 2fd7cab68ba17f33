// Files of which every length and many damaged versions are adjusted, or left as they are with a
// reason.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/faults/real_program.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

// What a small sound file takes as well, and what all of a run's files may take.
constexpr std::uint64_t kAllowedMiB = 224;
constexpr double kAllowedSeconds = 120;

// A small photograph, stored by another program: `command` reads `in.ppm` and writes `out`.
std::string stored(const std::string& command) {
  const TemporaryDirectory directory;
  run("cd " + directory.path("") +
      " && djpeg -scale 1/8 -outfile in.ppm " KELVO_SOURCE_DIR
      "/resources/samples/still-life.jpg && " +
      command);
  return readFile(directory.path("out"));
}

std::vector<std::string> truncated(const std::string& file) {
  std::vector<std::string> versions;
  for (std::size_t size = 0; size < file.size(); ++size) versions.push_back(file.substr(0, size));
  return versions;
}

// Some bytes of each are others, most of them at the front, where the headers are.
std::vector<std::string> damaged(const std::string& file, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<std::string> versions;
  for (unsigned i = 0; i < 400; ++i) {
    std::string version = file;
    const std::size_t reach = i % 3 == 0 ? file.size() : std::min<std::size_t>(250, file.size());
    for (unsigned k = 0; k <= i % 4; ++k) version[random() % reach] = static_cast<char>(random());
    versions.push_back(version);
  }
  return versions;
}

class DamagedFiles : public ::testing::TestWithParam<std::pair<const char*, const char*>> {
 protected:
  struct Outcome {
    std::set<std::size_t> adjusted;
    std::set<std::size_t> failed;
  };

  // All in one run.
  static Outcome adjust(const std::vector<std::string>& versions) {
    const TemporaryDirectory directory;
    std::vector<std::string> arguments = {"equalize", "--max-memory", "128M", "--jobs", "2"};
    for (std::size_t i = 0; i < versions.size(); ++i) {
      arguments.push_back(directory.path(std::to_string(i)));
      writeFile(arguments.back(), versions[i]);
    }
    const ProgramRun result = runProgram(arguments);
    Outcome outcome;
    const auto number = [&](const std::string& line) {
      return std::stoul(line.substr(directory.path("").size()));
    };
    std::istringstream names(result.output);
    for (std::string line; std::getline(names, line);) outcome.adjusted.insert(number(line));
    std::istringstream messages(result.errors);
    for (std::string line; std::getline(messages, line);) {
      if (line.find(": Error: Cann't ") != std::string::npos) outcome.failed.insert(number(line));
      EXPECT_EQ(line.find("worker"), std::string::npos) << line;
    }
    EXPECT_EQ(outcome.adjusted.size() + outcome.failed.size(), versions.size());
    for (const std::size_t i : outcome.failed) {
      EXPECT_TRUE(readFile(directory.path(std::to_string(i))) == versions[i]) << i;
      EXPECT_FALSE(outcome.adjusted.contains(i));
    }
    EXPECT_EQ(directory.names().size(), versions.size());
    if (kCostIsTheProgramsOwn) {
      EXPECT_LT(result.peakBytes >> 20U, kAllowedMiB);
      EXPECT_LT(result.processorSeconds, kAllowedSeconds);
    }
    return outcome;
  }
};

TEST_P(DamagedFiles, CutShortAnywhereAreLeftAsTheyAre) {
  const std::string file = stored(GetParam().second);
  ASSERT_EQ(adjust({file}).adjusted.size(), 1U);
  EXPECT_EQ(adjust(truncated(file)).adjusted, std::set<std::size_t>());
}

TEST_P(DamagedFiles, DamagedAnywhereAreAdjustedOrLeftAsTheyAre) {
  const Outcome outcome = adjust(damaged(stored(GetParam().second), 7));
  EXPECT_GT(outcome.failed.size(), 100U);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, DamagedFiles,
    ::testing::Values(
        std::pair("JpegXlLossless", "cjxl in.ppm out.jxl -d 0 --quiet && mv out.jxl out"),
        std::pair("JpegXlInBoxes",
                  "cjxl in.ppm out.jxl -d 2 --container=1 --quiet && mv out.jxl out"),
        std::pair("PackedJpeg",
                  "cjpeg -quality 50 in.ppm > in.jpg && cjxl in.jpg out.jxl --lossless_jpeg=1 "
                  "--quiet && mv out.jxl out"),
        std::pair("Jpeg2000Lossy", "opj_compress -i in.ppm -o o.jp2 -r 20 -I && mv o.jp2 out"),
        std::pair("Jpeg2000Tiles",
                  "opj_compress -i in.ppm -o o.j2k -r 20 -n 3 -t 32,32 -SOP -EPH -c [16,16] "
                  "&& mv o.j2k out")),
    [](const auto& test) { return std::string(test.param.first); });

}  // namespace
}  // namespace kelvo::test
