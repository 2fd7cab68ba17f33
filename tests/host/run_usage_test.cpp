#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

// Runs the program with arguments that are wrong; gives its one line without "kelvo: ".
std::string refusal(const Arguments& arguments, const StartOptions& options = {}) {
  const Finished finished = runKelvo(arguments, options);
  EXPECT_EQ(finished.status, 2);
  EXPECT_EQ(finished.output, "");
  EXPECT_EQ(std::ranges::count(finished.errors, '\n'), 1) << finished.errors;
  EXPECT_THAT(finished.errors, StartsWith("kelvo: "));
  EXPECT_THAT(finished.errors, EndsWith("\n"));
  return finished.errors.substr(
      std::min<std::size_t>(7, finished.errors.size()),
      finished.errors.size() - std::min<std::size_t>(8, finished.errors.size()));
}

class Usage : public testing::Test {
 protected:
  Usage() { place_.file("a"); }
  ~Usage() override { EXPECT_EQ(place_.rewritings("a"), 0) << "a file was touched"; }

  Workplace place_;
  const std::string a_ = place_.path("a");
};

TEST_F(Usage, NeedsACommand) {
  EXPECT_EQ(refusal({}), "no command given; 'kelvo --help' lists them");
}

TEST_F(Usage, SuggestsTheAdjustmentThatWasMeant) {
  EXPECT_EQ(refusal({"postrize", a_}),
            "unknown adjustment or command 'postrize'; did you mean 'posterize'?");
  EXPECT_EQ(refusal({"Invert", a_}),
            "unknown adjustment or command 'Invert'; did you mean 'invert'?");
  EXPECT_EQ(refusal({"sepia-tone-please", a_}),
            "unknown adjustment or command 'sepia-tone-please'");
  EXPECT_EQ(refusal({"--verison"}), "unknown option '--verison'; did you mean '--version'?");
}

TEST_F(Usage, TakesNoOptionsForTheWindow) {
  EXPECT_EQ(refusal({"edit", "--jobs", "2"}), "unknown option '--jobs'");
}

TEST_F(Usage, RefusesCurvesThatRunBackOrLackPoints) {
  EXPECT_EQ(refusal({"curves", "--rgb", "0,0", a_}),
            "option --rgb: a curve needs at least two points");
  EXPECT_EQ(refusal({"curves", "--red", "0,0 0,9", a_}),
            "option --red: the point '0,9' is not to the right of the one before");
  EXPECT_EQ(refusal({"curves", "--blue", "0,0 256,0", a_}),
            "option --blue: the point '256,0' is outside the levels 0 to 255");
}

TEST_F(Usage, RefusesPreviewsThatAreNotOfOneFileIntoANewOne) {
  const std::string out = place_.path("out.png");
  EXPECT_EQ(refusal({"preview"}), "nothing to preview; 'kelvo preview --help' tells how");
  EXPECT_EQ(refusal({"preview", "invert", a_}), "a preview needs a new file to write: -o OUT");
  EXPECT_EQ(refusal({"preview", "invert", a_, a_, "-o", out}),
            "a preview is made of exactly one file");
  EXPECT_EQ(refusal({"preview", "invert", a_, "-o", a_}), "'" + a_ + "' exists already");
  EXPECT_EQ(refusal({"preview", "invert", a_, "-o", out, "--dry-run"}),
            "options --output-dir, --backup and --dry-run do not go with a preview");
  EXPECT_EQ(refusal({"preview", "formats"}), "unknown adjustment or command 'formats'");
  EXPECT_EQ(refusal({"invert", a_, "-o", out}), "unknown option '-o'");
}

TEST_F(Usage, RefusesSettingsOutsideThePanelsRange) {
  EXPECT_EQ(refusal({"posterize", "--levels", "300", a_}),
            "option --levels: must be from 2 to 64 levels, not 300");
  EXPECT_EQ(refusal({"posterize", "--levels=1", a_}),
            "option --levels: must be from 2 to 64 levels, not 1");
  EXPECT_EQ(refusal({"threshold", "--level", "-1", a_}),
            "option --level: must be from 0 to 255 levels, not -1");
  EXPECT_EQ(refusal({"exposure", "--exposure", "100.001", a_}),
            "option --exposure: must be from -100 to 100, not 100.001");
  EXPECT_EQ(refusal({"hue-saturation", "--hue", "-181", a_}),
            "option --hue: must be from -180 to 180 degrees, not -181");
  EXPECT_EQ(refusal({"channel-mixer", "--bc", "201", a_}),
            "option --bc: must be from -200 to 200 percent, not 201");
}

TEST_F(Usage, RefusesSettingsThatAreNoNumbersOrColours) {
  EXPECT_EQ(refusal({"posterize", "--levels", "four", a_}),
            "option --levels: 'four' is not a number");
  EXPECT_EQ(refusal({"posterize", "--levels", "4,5", a_}),
            "option --levels: '4,5' is not a number");
  EXPECT_EQ(refusal({"posterize", "--levels", "nan", a_}),
            "option --levels: 'nan' is not a number");
  EXPECT_EQ(refusal({"posterize", "--levels", "", a_}), "option --levels: '' is not a number");
  EXPECT_EQ(refusal({"colorize", "--color", "red", a_}),
            "option --color: 'red' is not a colour like #rrggbb");
}

TEST_F(Usage, RefusesUnknownAndIncompleteOptions) {
  EXPECT_EQ(refusal({"posterize", "--level", "3", a_}),
            "unknown option '--level'; did you mean '--levels'?");
  EXPECT_EQ(refusal({"invert", "--levels", "3", a_}), "unknown option '--levels'");
  EXPECT_EQ(refusal({"invert", "-x", a_}), "unknown option '-x'");
  EXPECT_EQ(refusal({"invert", a_, "--jobs"}), "option --jobs needs a value");
  EXPECT_EQ(refusal({"invert", "--jobs=", a_}), "option --jobs needs a value");
  EXPECT_EQ(refusal({"invert", "--json=1", a_}), "option --json takes no value");
  EXPECT_EQ(refusal({"posterize", "--levels", "3", "--levels", "4", a_}),
            "option --levels is given more than once");
}

TEST_F(Usage, ReadsValuesInEveryWayOfWritingThem) {
  for (const Arguments& levels :
       {Arguments{"--levels", "3"}, Arguments{"--levels=3"}, Arguments{"--levels", "3", "-qj1"},
        Arguments{"-j1", "--levels=3"}, Arguments{"-qqj", "1", "--levels", "3", "--quiet"}}) {
    const std::string b = place_.file("b");
    Arguments arguments{"posterize", b};
    arguments.insert(arguments.end(), levels.begin(), levels.end());
    const Finished finished = runKelvo(arguments);
    EXPECT_EQ(finished.errors, "");
    EXPECT_EQ(finished.output, b + "\n");
  }
}

TEST_F(Usage, RefusesTheUnknownAmongJoinedLetters) {
  EXPECT_EQ(refusal({"invert", "-qx", a_}), "unknown option '-x'");
  EXPECT_EQ(refusal({"invert", "-xq", a_}), "unknown option '-xq'");
  EXPECT_EQ(refusal({"invert", "-q=1", a_}), "unknown option '-'");
  EXPECT_EQ(refusal({"invert", "-j=1", a_}),
            "option --jobs: must be a whole number from 1 to 1024, not '=1'");
  EXPECT_EQ(refusal({"invert", a_, "-qj"}), "option -qj needs a value");
  EXPECT_EQ(refusal({"invert", "--jobs", "--", a_}), "option --jobs needs a value");
  EXPECT_EQ(refusal({"invert", "-j1", "--jobs=1", a_}), "option --jobs is given more than once");
}

TEST_F(Usage, TakesWhatFollowsAnOptionForItsValueWhateverItLooksLike) {
  EXPECT_EQ(refusal({"invert", "--jobs", "--quiet", a_}),
            "option --jobs: must be a whole number from 1 to 1024, not '--quiet'");
  EXPECT_EQ(refusal({"invert", "-j", "", a_}),
            "option --jobs: must be a whole number from 1 to 1024, not ''");
}

TEST_F(Usage, RefusesWrongValuesOfRunningOptions) {
  EXPECT_EQ(refusal({"invert", "--jobs", "0", a_}),
            "option --jobs: must be a whole number from 1 to 1024, not '0'");
  EXPECT_EQ(refusal({"invert", "-j", "2x", a_}),
            "option --jobs: must be a whole number from 1 to 1024, not '2x'");
  EXPECT_EQ(refusal({"invert", "--progress", "yes", a_}),
            "option --progress: must be auto, always or never, not 'yes'");
  EXPECT_EQ(refusal({"invert", "--depth", "16", a_}),
            "option --depth: must be 8 or keep, not '16'");
  EXPECT_EQ(refusal({"invert", "--gain-map", "yes", a_}),
            "option --gain-map: must be keep or drop, not 'yes'");
  EXPECT_EQ(refusal({"invert", "--max-memory", "0", a_}),
            "option --max-memory: '0' is not a whole number above 0");
  EXPECT_EQ(refusal({"invert", "--backup", "x/y", a_}),
            "option --backup: must be the end of a file name, not 'x/y'");
  EXPECT_EQ(refusal({"invert", "--output-dir", place_.path("o"), "--backup", ".old", a_}),
            "options --output-dir and --backup do not go together");
  EXPECT_EQ(refusal({"invert", "-0", a_}), "option -0 needs --files-from");
}

TEST_F(Usage, NeedsFiles) {
  EXPECT_EQ(refusal({"invert"}), "no files given");
  EXPECT_EQ(refusal({"run", "--set", "mark=x"}), "no files given");
  EXPECT_EQ(refusal({"run", place_.workflow("w.kelvo", {"{}"})}), "no files given");
  EXPECT_EQ(refusal({"invert", ""}), "a file name is empty");
}

TEST_F(Usage, NeedsAListThatCanBeRead) {
  EXPECT_EQ(refusal({"invert", "--files-from", place_.path("none")}),
            "the list '" + place_.path("none") + "' cannot be read: No such file or directory");
  StartOptions options;
  options.input = a_ + std::string("\0", 1);
  EXPECT_EQ(refusal({"invert", "--files-from", "-"}, options),
            "the list '-' holds NUL bytes; give -0 with it");
}

TEST_F(Usage, RefusesParametersThatAreNotKnownOrOutOfRange) {
  EXPECT_EQ(refusal({"run", "--set", "posterizeSlidr=4", a_}),
            "option --set: unknown parameter 'posterizeSlidr'; did you mean 'posterizeSlider'?");
  EXPECT_EQ(refusal({"run", "--set", "posterizeSlider", a_}),
            "option --set: must be KEY=VALUE, not 'posterizeSlider'");
  EXPECT_EQ(refusal({"run", "--set", "=4", a_}), "option --set: must be KEY=VALUE, not '=4'");
  EXPECT_EQ(refusal({"run", "--set", "posterizeSlider=300", a_}),
            "option --set: posterizeSlider: must be from 2 to 64, not 300");
  EXPECT_EQ(refusal({"run", "--set", "colorizeColorWellR=1.5", a_}),
            "option --set: colorizeColorWellR: must be from 0 to 1, not 1.5");
  EXPECT_EQ(refusal({"run", "--set", "filterPopUp=5", a_}),
            "option --set: filterPopUp: must be the number of an adjustment (0 to 16 without 5 and "
            "12), not '5'");
}

TEST_F(Usage, NamesTheWorkflowThatCannotBeRead) {
  std::ofstream(place_.path("bad.kelvo")) << "{\"format\": 1,\n \"actions\": oops}";
  EXPECT_THAT(refusal({"run", place_.path("bad.kelvo"), a_}),
              StartsWith("the workflow '" + place_.path("bad.kelvo") +
                         "' cannot be read: line 2, column 13: "));
  EXPECT_EQ(
      refusal({"run", place_.path("none.kelvo"), a_}),
      "the workflow '" + place_.path("none.kelvo") + "' cannot be read: No such file or directory");
  std::ofstream(place_.path("two.kelvo")) << R"({"format": 2})";
  EXPECT_THAT(refusal({"run", place_.path("two.kelvo"), a_}),
              EndsWith("its format is 2, and this version reads format 1 only"));
}

TEST_F(Usage, NamesTheActionThatIsNotThere) {
  std::ofstream(place_.path("w.kelvo"))
      << R"({"format": 1, "actions": [{"action": "Rename Files"}]})";
  EXPECT_EQ(refusal({"run", place_.path("w.kelvo"), a_}), "there is no action 'Rename Files'");
}

TEST_F(Usage, SaysWhatIsWrongWithADamagedBundle) {
  std::filesystem::create_directories(place_.path("b/Kelvo Images.action/Contents"));
  std::ofstream(place_.path("b/Kelvo Images.action/Contents/Info.json")) << "{}";
  StartOptions options;
  options.actions = place_.path("b");
  EXPECT_EQ(refusal({"invert", a_}, options),
            "the action 'Kelvo Images' is damaged: Info.json has no \"name\"");
}

TEST_F(Usage, KeepsControlCharactersOutOfItsLine) {
  EXPECT_EQ(refusal({"a\nb\x1b[31m"}), "unknown adjustment or command 'a?b?[31m'");
}

TEST_F(Usage, PrintsHelpAndVersionToStandardOutput) {
  for (const Arguments& arguments :
       {Arguments{"--help"}, Arguments{"-h"}, Arguments{"posterize", "--help"},
        Arguments{"run", "-h"}, Arguments{"formats", "--help"}, Arguments{"--version"}}) {
    const Finished finished = runKelvo(arguments);
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.errors, "");
    EXPECT_THAT(finished.output, EndsWith("\n"));
  }
  EXPECT_THAT(runKelvo({"--version"}).output, StartsWith("kelvo "));
}

TEST_F(Usage, ListsTheFormats) {
  const Finished finished = runKelvo({"formats"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(finished.output, HasSubstr("public.png"));
  EXPECT_THAT(finished.output, HasSubstr("com.adobe.photoshop-image"));
  EXPECT_EQ(refusal({"formats", "x"}), "'formats' takes no arguments but --json");
}

}  // namespace
}  // namespace kelvo::host
