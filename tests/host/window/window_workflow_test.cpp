#include <QComboBox>
#include <QSettings>
#include <QTest>
#include <filesystem>

#include "tests/host/window/window_fixture.h"

namespace kelvo::window {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

constexpr const char* kInvert = R"({"format": 1, "actions": [
  {"action": "Kelvo Images", "parameters": {"filterPopUp": "13"}}]})";

class WindowWorkflow : public WindowTest {
 protected:
  WindowWorkflow() { open(); }
  [[nodiscard]] int filter() { return window().workflow().parameters()->intValue("filterPopUp"); }
  std::vector<std::string> recent() {
    std::vector<std::string> names;
    for (const QString& path : RecentWorkflows::paths()) {
      names.push_back(path.toStdString());
    }
    return names;
  }
};

TEST_F(WindowWorkflow, OpensShowsAndSavesADocument) {
  write("a.kelvo", kInvert);
  ASSERT_TRUE(window().openWorkflow(path("a.kelvo")));
  EXPECT_EQ(filter(), 13);
  EXPECT_EQ(window().windowTitle().toStdString(), "a.kelvo[*] – Kelvo");
  EXPECT_FALSE(window().isWindowModified());
  set("filterPopUp", "14");
  ASSERT_TRUE(window().save());
  EXPECT_EQ(readWorkflow(path("a.kelvo"))->actions[0].parameters.stringValue("filterPopUp"), "14");
}

TEST_F(WindowWorkflow, TellsWhatIsWrongWithADocumentAndKeepsItsOwn) {
  set("filterPopUp", "16");
  write("bad.kelvo", "{\"format\": 1,\n  \"actions\": [}");
  write("new.kelvo", R"({"format": 7, "actions": []})");
  {
    Answers answers({"Discard", "OK", "Discard", "OK"});
    EXPECT_FALSE(window().openWorkflow(path("bad.kelvo")));
    EXPECT_THAT(answers.asked()[1].toStdString(),
                HasSubstr("bad.kelvo” cannot be opened. Line 2, column 15: "));
    EXPECT_FALSE(window().openWorkflow(path("new.kelvo")));
    EXPECT_THAT(answers.asked()[3].toStdString(),
                HasSubstr("Its format is 7, and this version reads format 1 only."));
  }
  EXPECT_EQ(filter(), 16);
  EXPECT_EQ(window().workflow().path(), "");
  EXPECT_EQ(read("new.kelvo"), R"({"format": 7, "actions": []})");
}

TEST_F(WindowWorkflow, AsksAboutUnsavedChanges) {
  write("a.kelvo", kInvert);
  ASSERT_TRUE(window().openWorkflow(path("a.kelvo")));
  set("filterPopUp", "16");
  {
    const Answers answers({"Cancel"});
    EXPECT_FALSE(window().newWorkflow());
  }
  EXPECT_EQ(filter(), 16);
  {
    Answers answers({"Cancel"});
    EXPECT_FALSE(window().QWidget::close());
    EXPECT_EQ(answers.asked()[0].toStdString(), "Save the changes to “a.kelvo”?");
  }
  EXPECT_TRUE(window().isVisible());
  {
    const Answers answers({"Save"});
    EXPECT_TRUE(window().newWorkflow());
  }
  EXPECT_EQ(readWorkflow(path("a.kelvo"))->actions[0].parameters.stringValue("filterPopUp"), "16");
  set("filterPopUp", "7");
  {
    const Answers answers({"Discard"});
    EXPECT_TRUE(window().QWidget::close());
  }
}

TEST_F(WindowWorkflow, DoesNotAskWhenNothingHasChanged) {
  const Answers none({});
  write("a.kelvo", kInvert);
  EXPECT_TRUE(window().openWorkflow(path("a.kelvo")));
  EXPECT_TRUE(window().newWorkflow());
  EXPECT_TRUE(window().QWidget::close());
}

TEST_F(WindowWorkflow, TellsWhenItCannotBeSavedAndStaysUnsaved) {
  set("filterPopUp", "16");
  {
    Answers answers({"OK"});
    EXPECT_FALSE(window().saveTo(path("no/folder/a.kelvo")));
    EXPECT_THAT(answers.asked()[0].toStdString(), HasSubstr("a.kelvo” cannot be saved. "));
  }
  EXPECT_TRUE(window().workflow().changed());
}

TEST_F(WindowWorkflow, AsksBeforeItReplacesWhatAnotherProgramHasWritten) {
  write("a.kelvo", kInvert);
  ASSERT_TRUE(window().openWorkflow(path("a.kelvo")));
  write("a.kelvo", std::string(kInvert) + "\n");
  set("filterPopUp", "16");
  {
    const Answers answers({"Cancel"});
    EXPECT_FALSE(window().save());
  }
  EXPECT_EQ(read("a.kelvo"), std::string(kInvert) + "\n");
  const Answers answers({"Save"});
  EXPECT_TRUE(window().save());
}

TEST_F(WindowWorkflow, OffersTheWorkflowsOfLatelyLatestFirst) {
  for (int i = 0; i < 10; ++i) {
    const std::string name = std::to_string(i) + ".kelvo";
    write(name, kInvert);
    ASSERT_TRUE(window().openWorkflow(path(name)));
  }
  ASSERT_TRUE(window().openWorkflow(path("5.kelvo")));
  ASSERT_EQ(recent().size(), 8U);
  EXPECT_EQ(recent()[0], path("5.kelvo"));
  EXPECT_EQ(recent()[1], path("9.kelvo"));
  close();
  open();
  auto* const menu = window().findChild<RecentWorkflows*>();
  ASSERT_EQ(menu->actions().size(), 10) << "eight, a line, and Clear";
  menu->actions()[1]->trigger();
  ASSERT_TRUE(waitUntil([&] { return window().workflow().path() == path("9.kelvo"); }));

  fs::remove(path("5.kelvo"));
  {
    const Answers answers({"OK"});
    EXPECT_FALSE(window().openWorkflow(path("5.kelvo")));
  }
  EXPECT_THAT(recent(), ::testing::Not(::testing::Contains(path("5.kelvo"))));
  menu->actions().constLast()->trigger();
  EXPECT_TRUE(waitUntil([&] { return recent().empty(); }));
}

TEST_F(WindowWorkflow, EditsTheActionThatIsChosen) {
  write("w.kelvo", R"({"format": 1, "actions": [
    {"action": "Kelvo Images", "parameters": {"filterPopUp": "13"}},
    {"action": "Other", "parameters": {"x": 1}},
    {"action": "Kelvo Images", "parameters": {"filterPopUp": "7"}}]})");
  auto& choice = widget<QComboBox>("actionChoice");
  EXPECT_FALSE(choice.isVisible());
  ASSERT_TRUE(window().openWorkflow(path("w.kelvo")));
  EXPECT_TRUE(choice.isVisible());
  ASSERT_EQ(choice.count(), 3);
  EXPECT_EQ(choice.itemText(1).toStdString(), "Action 2 of 3: Other");
  choice.setFocus();
  QTest::keyClick(&choice, Qt::Key_Down);
  EXPECT_FALSE(window().findChild<Panel*>()->isVisible()) << "it does not know this one";
  QTest::keyClick(&choice, Qt::Key_Down);
  EXPECT_TRUE(window().findChild<Panel*>()->isVisible());
  EXPECT_EQ(filter(), 7);
  set("filterPopUp", "16");
  ASSERT_TRUE(window().save());
  const auto saved = readWorkflow(path("w.kelvo"));
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->actions[0].parameters.intValue("filterPopUp"), 13);
  EXPECT_EQ(saved->actions[1].parameters.intValue("x"), 1);
  EXPECT_EQ(saved->actions[2].parameters.intValue("filterPopUp"), 16);
}

TEST_F(WindowWorkflow, SavesWhatIsBeingTyped) {
  write("a.kelvo", R"({"format": 1, "actions": [
    {"action": "Kelvo Images", "parameters": {"filterPopUp": "15", "thresholdSlider": "100"}}]})");
  ASSERT_TRUE(window().openWorkflow(path("a.kelvo")));
  window().activateWindow();
  auto& field = widget<QLineEdit>("thresholdValue");
  field.setFocus();
  field.selectAll();
  QTest::keyClicks(&field, "77");
  ASSERT_TRUE(window().save());
  EXPECT_EQ(readWorkflow(path("a.kelvo"))->actions[0].parameters.doubleValue("thresholdSlider"),
            77);
}

TEST_F(WindowWorkflow, RemembersItsPlace) {
  window().resize(900, 640);
  ASSERT_TRUE(window().QWidget::close());
  close();
  open();
  EXPECT_EQ(window().size(), QSize(900, 640));
}

TEST_F(WindowWorkflow, CanBeReachedWithTheKeyboard) {
  for (const char* const name : {"new", "open", "save", "saveAs", "addFiles", "addFolder", "quit",
                                 "remove", "clear", "runFiles", "stopRun", "keys"}) {
    EXPECT_FALSE(widget<QAction>(name).shortcut().isEmpty()) << name;
  }
  std::vector<QKeySequence> seen;
  for (const QAction* const action : window().findChildren<QAction*>()) {
    if (!action->shortcut().isEmpty() && action->shortcut() != QKeySequence::Copy) {
      EXPECT_THAT(seen, ::testing::Not(::testing::Contains(action->shortcut())))
          << action->text().toStdString();
      seen.push_back(action->shortcut());
    }
  }
  for (const char* const name :
       {"fileList", "problems", "inPlace", "copies", "folder", "chooseFolder", "backup", "suffix",
        "keepDepth", "dropGainMap", "run", "stop"}) {
    EXPECT_TRUE(widget<QWidget>(name).focusPolicy() & Qt::TabFocus) << name;
  }
  for (const char* const name :
       {"fileList", "problems", "folder", "suffix", "actionChoice", "progress", "summary"}) {
    EXPECT_FALSE(widget<QWidget>(name).accessibleName().isEmpty()) << name;
  }
}

}  // namespace
}  // namespace kelvo::window
