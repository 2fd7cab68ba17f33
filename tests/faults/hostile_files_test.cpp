// Small files that promise more than a computer holds: each is refused with a reason, or adjusted
// without unpacking what is not needed, and none takes more memory than it is allowed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/faults/hostile_files.h"
#include "tests/faults/real_program.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// What all workers may ask for, and what the program takes beside that: its code and its
// libraries, and the file's own pages, which are mapped.
constexpr std::uint64_t kAllowedMiB = 128;
constexpr std::uint64_t kProgramMiB = 96;

// The longest takes a tenth of it.
constexpr double kAllowedSeconds = 30;

class HostileFiles : public ::testing::Test {
 protected:
  static void expectBounded(const std::vector<HostileFile>& files) {
    for (const HostileFile& hostile : files) {
      SCOPED_TRACE(hostile.name);
      const TemporaryDirectory directory;
      const std::string path = directory.path(hostile.name);
      writeFile(path, hostile.bytes());
      const std::uint64_t size = std::filesystem::file_size(path);
      const ProgramRun run =
          runProgram({"equalize", "--max-memory", std::to_string(kAllowedMiB) + "M", path});
      if (hostile.says.empty()) {
        EXPECT_EQ(run.status, 0) << run.errors;
      } else {
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, HasSubstr(path + ": Error: Cann't "));
        EXPECT_THAT(run.errors, HasSubstr(hostile.says));
        EXPECT_TRUE(readFile(path) == hostile.bytes());
      }
      EXPECT_THAT(directory.names(), ElementsAre(hostile.name));
      if (kCostIsTheProgramsOwn) {
        EXPECT_LT(run.peakBytes >> 20U, kAllowedMiB + kProgramMiB + (size >> 20U));
        EXPECT_LT(run.processorSeconds, kAllowedSeconds);
      }
    }
  }
};

TEST_F(HostileFiles, OfJpegAreRefused) { expectBounded(hostileJpegs()); }
TEST_F(HostileFiles, OfPngAreRefused) { expectBounded(hostilePngs()); }
TEST_F(HostileFiles, OfGifAreRefused) { expectBounded(hostileGifs()); }
TEST_F(HostileFiles, OfTiffAreRefused) { expectBounded(hostileTiffs()); }
TEST_F(HostileFiles, OfWebpAreRefused) { expectBounded(hostileWebps()); }
TEST_F(HostileFiles, OfBmpAreRefused) { expectBounded(hostileBmps()); }
TEST_F(HostileFiles, OfHeicAndAvifAreRefused) { expectBounded(hostileHeifs()); }
TEST_F(HostileFiles, OfJpeg2000AreRefused) { expectBounded(hostileJpeg2000s()); }
TEST_F(HostileFiles, OfJpegXlAreRefused) { expectBounded(hostileJxls()); }

}  // namespace
}  // namespace kelvo::test
