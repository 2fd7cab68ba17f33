#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QProgressBar>
#include <QSettings>
#include <QTest>
#include <QTimer>
#include <filesystem>

#include "tests/host/kelvo_process.h"
#include "tests/host/window/somebody_else.h"
#include "tests/host/window/window_fixture.h"

namespace kelvo::window {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

const std::vector<std::string> kSamples = {"lake.jpg", "harbour.png", "chart.tif"};
const QString kCancel = QStringLiteral("Cancel");
const QString kRewrite = QStringLiteral("Rewrite");

// The command line with the real action.
host::Finished commandLine(const std::vector<std::string>& arguments) {
  host::StartOptions options;
  options.actions = KELVO_BINARY_DIR "/lib/kelvo";
  return host::runKelvo(arguments, options);
}

class WindowRun : public WindowTest {
 protected:
  void addSamples() {
    std::vector<std::string> names;
    for (const std::string& sample : kSamples) {
      names.push_back(photograph(sample, sample));
    }
    add(names, static_cast<int>(names.size()));
  }
  std::string summary() { return widget<QLabel>("summary").text().toStdString(); }
  std::string problems() { return widget<ProblemList>("problems").text().toStdString(); }
};

TEST_F(WindowRun, MakesTheSameBytesAsTheCommandLine) {
  open();
  addSamples();
  set("filterPopUp", "16");
  set("posterizeSlider", "4");
  {
    Answers answers({kRewrite});
    runToEnd();
    ASSERT_EQ(answers.asked().size(), 1U);
    EXPECT_THAT(answers.asked()[0].toStdString(), HasSubstr("Rewrite 3 files in place?"));
  }
  for (int row = 0; row < 3; ++row) {
    const std::string& sample = kSamples[static_cast<std::size_t>(row)];
    EXPECT_EQ(state(row), FileState::rewritten) << message(row);
    const std::string other = photograph(sample, "other/" + sample);
    ASSERT_EQ(commandLine({"posterize", "--levels", "4", other}).status, 0);
    EXPECT_TRUE(read(sample) == read("other/" + sample)) << sample;
    EXPECT_FALSE(read(sample) ==
                 kelvo::testing::readFile(KELVO_SOURCE_DIR "/resources/samples/" + sample));
  }
  EXPECT_THAT(summary(), HasSubstr("3 of 3 files adjusted"));
  EXPECT_FALSE(widget<ProblemList>("problems").isVisible());
}

TEST_F(WindowRun, TellsWhatFailedInTheWordsOfTheCommandLine) {
  open();
  const std::string good = photograph("lake.jpg", "good.jpg");
  const std::string whole = read("good.jpg");
  write("short.jpg", whole.substr(0, whole.size() / 2));
  write("linked.png", read(photograph("leaf.png", "x.png").substr(path("").size())));
  fs::create_hard_link(path("linked.png"), path("second.png"));
  add({path("short.jpg"), good, path("linked.png")}, 3);
  const std::string before = read("short.jpg");
  fs::create_directory(path("again"));
  for (const char* const name : {"short.jpg", "linked.png"}) {
    fs::copy_file(path(name), path("again/") + name);
  }
  fs::create_hard_link(path("again/linked.png"), path("again/second.png"));
  {
    const Answers answers({kRewrite});
    runToEnd();
  }
  EXPECT_EQ(state(0), FileState::failed);
  EXPECT_EQ(state(1), FileState::rewritten);
  EXPECT_EQ(state(2), FileState::failed);
  EXPECT_TRUE(read("short.jpg") == before);
  for (const auto& [row, name] : {std::pair{0, "short.jpg"}, std::pair{2, "linked.png"}}) {
    const std::string other = path("again/") + name;
    const host::Finished told = commandLine({"levels", other});
    EXPECT_EQ(told.status, 1);
    EXPECT_EQ(other + ": " + message(row) + "\n", told.errors);
    EXPECT_THAT(problems(), HasSubstr(path(name) + ": " + message(row) + "\n"));
  }
  EXPECT_TRUE(widget<ProblemList>("problems").isVisible());
  EXPECT_THAT(summary(), HasSubstr("1 of 3 files adjusted"));
  EXPECT_THAT(summary(), HasSubstr("2 failed"));
}

TEST_F(WindowRun, TouchesNothingWhenPeopleThinkBetterOfIt) {
  open();
  addSamples();
  const std::string before = read("lake.jpg");
  const Answers answers({kCancel});
  widget<QPushButton>("run").click();
  EXPECT_FALSE(window().findChild<RunController*>()->running());
  EXPECT_TRUE(read("lake.jpg") == before);
  EXPECT_EQ(state(0), FileState::waiting);
}

TEST_F(WindowRun, DoesNotAskAgainIfItIsToldNotTo) {
  open();
  add({photograph("lake.jpg", "a.jpg")}, 1);
  {
    Answers answers({kRewrite});
    answers.checkBoxToo();
    runToEnd();
  }
  close();
  open();
  add({photograph("leaf.png", "b.png")}, 1);
  const Answers none({});
  runToEnd();
  EXPECT_EQ(state(0), FileState::rewritten);
}

TEST_F(WindowRun, AsksBeforeItAdjustsAFileTwice) {
  open();
  add({photograph("lake.jpg", "a.jpg")}, 1);
  set("filterPopUp", "13");  // Invert: a second time shows
  {
    const Answers answers({kRewrite});
    runToEnd();
  }
  const std::string once = read("a.jpg");
  add({photograph("leaf.png", "b.png")}, 2);
  {
    Answers answers({"Only the Others", kRewrite});
    runToEnd();
    EXPECT_THAT(answers.asked()[0].toStdString(), HasSubstr("Adjusted already: 1 of 2 files."));
    EXPECT_THAT(answers.asked()[1].toStdString(), HasSubstr("Rewrite one file in place?"));
  }
  EXPECT_TRUE(read("a.jpg") == once);
  EXPECT_EQ(state(1), FileState::rewritten);
  {
    const Answers answers({"All Again", kRewrite});
    runToEnd();
  }
  EXPECT_FALSE(read("a.jpg") == once);
  const Answers answers({kCancel});
  widget<QPushButton>("run").click();
  EXPECT_FALSE(window().findChild<RunController*>()->running());
}

TEST_F(WindowRun, PutsAdjustedCopiesIntoAFolder) {
  open();
  addSamples();
  set("filterPopUp", "13");
  widget<QRadioButton>("copies").setChecked(true);
  widget<QLineEdit>("folder").setText(QString::fromStdString(path("out")));
  const std::string before = read("lake.jpg");
  {
    const Answers none({});
    runToEnd();
  }
  EXPECT_TRUE(read("lake.jpg") == before);
  const std::string other = photograph("lake.jpg", "other.jpg");
  ASSERT_EQ(commandLine({"invert", other}).status, 0);
  EXPECT_TRUE(read("out/lake.jpg") == read("other.jpg"));
  // Nothing is overwritten there.
  Answers answers({"OK"});
  widget<QPushButton>("run").click();
  ASSERT_EQ(answers.asked().size(), 1U);
  EXPECT_EQ(answers.asked()[0].toStdString(),
            "Nothing has been changed. '" + path("out/lake.jpg") + "' exists already.");
}

TEST_F(WindowRun, WantsAFolderForTheCopies) {
  open();
  addSamples();
  widget<QRadioButton>("copies").setChecked(true);
  widget<QLineEdit>("folder").setText({});
  Answers answers({"OK"});
  widget<QPushButton>("run").click();
  EXPECT_THAT(answers.asked()[0].toStdString(), HasSubstr("Choose the folder"));
}

TEST_F(WindowRun, KeepsOldFilesWhenAskedTo) {
  open();
  add({photograph("lake.jpg", "a.jpg")}, 1);
  const std::string before = read("a.jpg");
  set("filterPopUp", "13");
  widget<QCheckBox>("backup").setChecked(true);
  {
    Answers answers({kRewrite});
    runToEnd();
    EXPECT_THAT(answers.asked()[0].toStdString(), HasSubstr("followed by .orig"));
  }
  EXPECT_TRUE(read("a.jpg.orig") == before);
  EXPECT_FALSE(read("a.jpg") == before);
}

TEST_F(WindowRun, LeavesGainMapsOutIfItIsToldTo) {
  open();
  const std::string file = photograph("lake.jpg", "a.jpg");
  // Right behind the start of the picture: the mark of a gain map (ISO 21496-1).
  std::string bytes = read("a.jpg");
  const std::string mark("\xff\xe2\0\"urn:iso:std:iso:ts:21496:-1\0\0\0\0\0", 36);
  write("a.jpg", bytes.insert(2, mark));
  add({file}, 1);
  {
    const Answers answers({kRewrite});
    runToEnd();
  }
  EXPECT_EQ(state(0), FileState::failed);
  EXPECT_THAT(message(0), HasSubstr("the file holds a gain map"));
  EXPECT_TRUE(read("a.jpg") == bytes);
  widget<QCheckBox>("dropGainMap").setChecked(true);
  {
    const Answers answers({kRewrite});
    runToEnd();
  }
  EXPECT_EQ(state(0), FileState::rewritten);
  EXPECT_EQ(read("a.jpg").find("urn:iso"), std::string::npos);
}

TEST_F(WindowRun, RemembersHowItIsToBeDone) {
  open();
  add({photograph("lake.jpg", "a.jpg")}, 1);
  widget<QRadioButton>("copies").setChecked(true);
  widget<QLineEdit>("folder").setText(QString::fromStdString(path("out")));
  widget<QCheckBox>("keepDepth").setChecked(true);
  widget<QCheckBox>("dropGainMap").setChecked(true);
  const Answers none({});
  runToEnd();
  close();
  open();
  EXPECT_TRUE(widget<QRadioButton>("copies").isChecked());
  EXPECT_EQ(widget<QLineEdit>("folder").text().toStdString(), path("out"));
  EXPECT_TRUE(widget<QCheckBox>("keepDepth").isChecked());
  EXPECT_TRUE(widget<QCheckBox>("dropGainMap").isChecked());
}

TEST_F(WindowRun, SaysWhenAFolderMayNotBeWrittenTo) {
  open();
  add({photograph("lake.jpg", "closed/a.jpg")}, 1);
  const std::string before = read("closed/a.jpg");
  fs::permissions(path("closed"), fs::perms::owner_read | fs::perms::owner_exec);
  {
    const SomebodyElse somebody(path("."));
    ASSERT_TRUE(somebody.ok());
    const Answers answers({kRewrite});
    runToEnd();
  }
  fs::permissions(path("closed"), fs::perms::owner_all);
  EXPECT_EQ(state(0), FileState::failed);
  EXPECT_THAT(message(0), HasSubstr("permission denied"));
  EXPECT_TRUE(read("closed/a.jpg") == before);
}

// No file can grow beyond this while it lives; what is written beyond fails as on a full disk.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) {
    ::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, SIG_DFL);
  }

 private:
  rlimit before_{};
};

TEST_F(WindowRun, KeepsTheFilesThatTheDiskHasNoRoomFor) {
  open();
  const std::string big = photograph("harbour.png", "big.png");
  const std::string small = photograph("poster.png", "small.png");
  add({big, small}, 2);
  set("filterPopUp", "13");
  const std::string before = read("big.png");
  ASSERT_GT(before.size(), 100'000U);
  ASSERT_LT(read("small.png").size(), 50'000U);
  {
    const FullDisk disk(70'000);
    const Answers answers({kRewrite});
    runToEnd();
  }
  EXPECT_EQ(state(0), FileState::failed);
  EXPECT_THAT(message(0), HasSubstr("file too large"));
  EXPECT_TRUE(read("big.png") == before);
  EXPECT_EQ(state(1), FileState::rewritten) << message(1);
  EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(big).parent_path()), {}), 3)
      << "the two and the settings: nothing unfinished is left";
}

// With an action that waits, crashes and fails as its files say.
class WindowRunFake : public WindowRun {
 protected:
  WindowRunFake() {
    open(KELVO_FAKE_ACTIONS);
    QSettings().setValue("run/doNotAsk", true);
  }
  void list(const std::vector<std::string>& names) {
    std::vector<FoundFile> files;
    for (const std::string& name : names) {
      files.push_back({place_.path(name), place_.path(name)});
    }
    window().files().add(files);
  }
  // Runs, and stays in it.
  void start() {
    widget<QPushButton>("run").click();
    ASSERT_TRUE(window().findChild<RunController*>()->running());
  }
  void finish() {
    ASSERT_TRUE(waitUntil([&] { return !window().findChild<RunController*>()->running(); }));
  }

  host::Workplace place_;
};

TEST_F(WindowRunFake, StopsAfterTheFilesBeingWorkedOn) {
  std::vector<std::string> names = {"wait"};
  place_.file("wait", "wait");
  for (int i = 0; i < 200; ++i) {
    names.push_back("w" + std::to_string(i));
    place_.file(names.back(), "wait");
  }
  list(names);
  start();
  place_.awaitBegun("wait");
  EXPECT_FALSE(window().acceptDrops()) << "the list is fixed during a run";
  EXPECT_FALSE(widget<QAction>("clear").isEnabled());
  widget<QPushButton>("stop").click();
  EXPECT_EQ(widget<QPushButton>("stop").text(), "&Stop Now");
  EXPECT_TRUE(waitUntil([&] { return state(0) == FileState::working; }));
  for (const std::string& name : names) {
    place_.letGo(name);
  }
  finish();
  EXPECT_EQ(state(0), FileState::rewritten);
  EXPECT_EQ(place_.rewritings("wait"), 1);
  EXPECT_EQ(state(200), FileState::notRun);
  EXPECT_EQ(message(200), "the run was interrupted");
  EXPECT_EQ(place_.rewritings("w199"), 0);
  EXPECT_THAT(summary(), HasSubstr("Stopped: "));
  EXPECT_TRUE(window().acceptDrops());
}

TEST_F(WindowRunFake, GivesUpTheFilesBeingWorkedOnWhenStoppedTwice) {
  place_.file("wait", "wait");
  list({"wait"});
  start();
  place_.awaitBegun("wait");
  widget<QPushButton>("stop").click();
  widget<QPushButton>("stop").click();
  finish();
  EXPECT_EQ(state(0), FileState::failed);
  EXPECT_EQ(message(0), "Error: the run was stopped while the file was being worked on");
  EXPECT_EQ(place_.rewritings("wait"), 0);
}

TEST_F(WindowRunFake, SurvivesWorkersThatDoNot) {
  place_.file("a", "crash");
  place_.file("b", "ok");
  place_.file("c", "skip");
  place_.file("d", "warn");
  list({"a", "b", "c", "d"});
  start();
  finish();
  EXPECT_EQ(state(0), FileState::failed);
  EXPECT_EQ(message(0), "Error: the worker process crashed (signal 11)");
  EXPECT_EQ(state(1), FileState::rewritten);
  EXPECT_EQ(state(2), FileState::skipped);
  EXPECT_EQ(message(2), "Warning: Ignoring photoshop image");
  EXPECT_EQ(state(3), FileState::rewritten);
  EXPECT_EQ(message(3), "Warning: of the log (why); Warning: of the outcome");
}

TEST_F(WindowRunFake, StaysResponsive) {
  place_.file("wait", "wait");
  list({"wait"});
  start();
  place_.awaitBegun("wait");
  int ticks = 0;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&ticks] { ++ticks; });
  timer.start(0);
  EXPECT_TRUE(waitUntil([&] { return ticks >= 100; })) << "events are served during the run";
  EXPECT_TRUE(widget<QProgressBar>("progress").isVisible());
  place_.letGo("wait");
  finish();
  EXPECT_FALSE(widget<QProgressBar>("progress").isVisible());
}

TEST_F(WindowRunFake, AsksBeforeItIsClosedDuringARun) {
  place_.file("wait", "wait");
  place_.file("later", "wait");
  list({"wait"});
  start();
  place_.awaitBegun("wait");
  {
    const Answers answers({"Go On"});
    EXPECT_FALSE(window().QWidget::close());
  }
  {
    Answers answers({"Stop and Close"});
    EXPECT_FALSE(window().QWidget::close()) << "the file is finished first";
    EXPECT_THAT(answers.asked()[0].toStdString(), HasSubstr("Files are being adjusted."));
  }
  place_.letGo("wait");
  EXPECT_TRUE(waitUntil([&] { return !window().isVisible(); }));
  EXPECT_EQ(place_.rewritings("wait"), 1);
}

TEST_F(WindowRunFake, LeavesFilesWholeWhenItIsDestroyedDuringARun) {
  place_.file("wait", "wait");
  list({"wait"});
  start();
  place_.awaitBegun("wait");
  close();
  EXPECT_EQ(place_.rewritings("wait"), 0);
  EXPECT_EQ(place_.read("wait"), "wait\n");
}

TEST_F(WindowRunFake, RunsEveryActionOfTheWorkflow) {
  const std::string workflow =
      place_.workflow("w.kelvo", {R"({"mark": "one"})", R"({"mark": "two"})"});
  ASSERT_TRUE(window().openWorkflow(workflow));
  place_.file("a", "ok");
  list({"a"});
  start();
  finish();
  EXPECT_THAT(place_.read("a"), ::testing::MatchesRegex("ok\none .*\ntwo .*\n"));
}

TEST_F(WindowRunFake, SaysWhichActionThereIsNot) {
  write("w.kelvo", R"({"format": 1, "actions": [{"action": "Elsewhere"}]})");
  ASSERT_TRUE(window().openWorkflow(path("w.kelvo")));
  place_.file("a", "ok");
  list({"a"});
  Answers answers({"OK"});
  widget<QPushButton>("run").click();
  EXPECT_EQ(answers.asked()[0].toStdString(),
            "Nothing has been changed. There is no action 'Elsewhere'.");
}

}  // namespace
}  // namespace kelvo::window
