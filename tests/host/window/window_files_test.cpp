#include <QLabel>
#include <QTest>
#include <filesystem>

#include "tests/host/window/window_fixture.h"

namespace kelvo::window {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

class WindowFiles : public WindowTest {
 protected:
  WindowFiles() { open(); }
  std::string notice() {
    auto& bar = widget<NoticeBar>("notice");
    return bar.isVisible() ? bar.text().toStdString() : std::string();
  }
  [[nodiscard]] QImage thumbnail(int row) {
    return window().files().data(window().files().index(row), Qt::DecorationRole).value<QImage>();
  }
};

TEST_F(WindowFiles, TakesWhatIsDroppedOnIt) {
  const std::string a = photograph("lake.jpg", "a.jpg");
  const std::string b = photograph("leaf.png", "folder/b.png");
  drop({a, path("folder")});
  ASSERT_TRUE(waitUntil([&] { return window().files().rowCount() == 2; }));
  EXPECT_EQ(window().files().path(0), a);
  EXPECT_EQ(window().files().path(1), b);
  EXPECT_EQ(notice(), "");
}

TEST_F(WindowFiles, TakesNamesThatAreNoText) {
  const std::string name = "caf\xE9 100% #1?.jpg";  // Latin-1, and what means something in a URL
  const std::string file = photograph("lake.jpg", name);
  drop({file});
  ASSERT_TRUE(waitUntil([&] { return window().files().rowCount() == 1; }));
  EXPECT_EQ(window().files().path(0), file);
}

TEST_F(WindowFiles, TellsWhatItDoesNotTakeAndWhy) {
  write("notes.txt", "no picture");
  const std::string a = photograph("lake.jpg", "a.jpg");
  drop({path("notes.txt"), a, path("gone.png")});
  ASSERT_TRUE(waitUntil([&] { return !notice().empty(); }));
  EXPECT_THAT(notice(), HasSubstr("notes.txt: it is no photograph of a known format"));
  EXPECT_THAT(notice(), HasSubstr("gone.png: No such file or directory"));
  EXPECT_EQ(window().files().rowCount(), 1);
}

TEST_F(WindowFiles, TakesEachFileOnce) {
  const std::string a = photograph("lake.jpg", "a.jpg");
  fs::create_symlink(a, path("same.jpg"));
  add({a}, 1);
  drop({path("same.jpg"), a});
  ASSERT_TRUE(waitUntil([&] { return !notice().empty(); }));
  EXPECT_THAT(notice(), HasSubstr("2 files that are in the list already"));
  EXPECT_EQ(window().files().rowCount(), 1);
}

TEST_F(WindowFiles, RemovesWithTheDeleteKeyWhatIsSelectedAndTakesItAgain) {
  const std::string a = photograph("lake.jpg", "a.jpg");
  const std::string b = photograph("leaf.png", "b.png");
  const std::string c = photograph("chart.tif", "c.tif");
  add({a, b, c}, 3);
  auto& list = widget<FileListView>("fileList");
  list.setFocus();
  list.setCurrentIndex(window().files().index(0));
  list.selectionModel()->select(window().files().index(2), QItemSelectionModel::Select);
  window().activateWindow();
  QTest::keyClick(&list, Qt::Key_Delete);
  ASSERT_EQ(window().files().rowCount(), 1);
  EXPECT_EQ(window().files().path(0), b);
  EXPECT_EQ(list.currentIndex().row(), 0) << "the keyboard goes on from there";
  EXPECT_TRUE(fs::exists(a)) << "only out of the list";
  add({a}, 2);
  trigger("clear");
  EXPECT_EQ(window().files().rowCount(), 0);
  EXPECT_FALSE(widget<QPushButton>("run").isEnabled());
}

TEST_F(WindowFiles, ShowsThumbnailsInProportion) {
  add({photograph("lake.jpg", "a.jpg")}, 1);
  ASSERT_TRUE(waitUntil([&] { return !thumbnail(0).isNull(); }));
  const QImage small = thumbnail(0);
  const QImage full(QString::fromStdString(path("a.jpg")));
  const int side = static_cast<int>(48 * window().devicePixelRatioF());
  EXPECT_EQ(std::max(small.width(), small.height()), side);
  EXPECT_NEAR(1.0 * small.width() / small.height(), 1.0 * full.width() / full.height(), 0.03);
  EXPECT_THAT(window().files().index(0).data(FileListModel::kDescription).toString().toStdString(),
              "JPEG, " + std::to_string(full.width()) + " × " + std::to_string(full.height()));
}

TEST_F(WindowFiles, PreviewsTheFirstPhotographThatCanBeAdjusted) {
  // Damaged after its first bytes: it gets into the list, and has no picture.
  const std::string whole = read(photograph("lake.jpg", "a.jpg").substr(path("").size()));
  write("broken.jpg", whole.substr(0, 300));
  const std::string b = photograph("leaf.png", "b.png");
  add({path("broken.jpg"), b}, 2);
  ASSERT_TRUE(waitUntil([&] { return window().previewedFile() == b; }));
  EXPECT_THAT(widget<QLabel>("previewName").text().toStdString(), HasSubstr("b.png"));
}

TEST_F(WindowFiles, KeepsThePreviewUntilAnotherIsChosen) {
  const std::string a = photograph("lake.jpg", "a.jpg");
  const std::string b = photograph("leaf.png", "b.png");
  add({a}, 1);
  ASSERT_TRUE(waitUntil([&] { return window().previewedFile() == a; }));
  add({b}, 2);
  set("filterPopUp", "16");
  auto& list = widget<FileListView>("fileList");
  list.setFocus();
  list.setCurrentIndex(window().files().index(1));
  EXPECT_EQ(window().previewedFile(), a);
  QTest::keyClick(&list, Qt::Key_Return);
  ASSERT_TRUE(waitUntil([&] { return window().previewedFile() == b; }));
  EXPECT_EQ(window().workflow().parameters()->intValue("filterPopUp"), 16)
      << "the settings are the same";
  EXPECT_NE(window().findChild<Panel*>(), nullptr);
  EXPECT_EQ(window().findChildren<Panel*>().size(), 1);
}

TEST_F(WindowFiles, SaysWhyAFileCannotBePreviewed) {
  const std::string whole = read(photograph("lake.jpg", "a.jpg").substr(path("").size()));
  write("broken.jpg", whole.substr(0, 300));
  window().useAsPreview(path("broken.jpg"));
  ASSERT_TRUE(waitUntil([&] { return !notice().empty(); }));
  EXPECT_THAT(notice(), HasSubstr("broken.jpg” cannot be the preview's picture: "));
  EXPECT_EQ(window().previewedFile(), "");
}

TEST_F(WindowFiles, ShowsThePictureAsItIsWhileBIsHeld) {
  add({photograph("lake.jpg", "a.jpg")}, 1);
  ASSERT_TRUE(waitUntil([&] { return !window().previewedFile().empty(); }));
  auto* const host = window().findChild<PanelHost*>();
  auto& list = widget<FileListView>("fileList");
  QTest::keyPress(&list, Qt::Key_B);
  EXPECT_TRUE(host->showsBefore());
  QTest::keyRelease(&list, Qt::Key_B);
  EXPECT_FALSE(host->showsBefore());
  auto& folder = widget<QLineEdit>("folder");
  widget<QRadioButton>("copies").setChecked(true);
  QTest::keyClick(&folder, Qt::Key_B);
  EXPECT_EQ(folder.text(), "b") << "where people type it is a letter";
}

TEST_F(WindowFiles, OpensAWorkflowThatIsDropped) {
  write(
      "w.kelvo",
      R"({"format": 1, "actions": [{"action": "Kelvo Images", "parameters": {"filterPopUp": "13"}}]})");
  drop({path("w.kelvo")});
  ASSERT_TRUE(waitUntil([&] { return window().workflow().path() == path("w.kelvo"); }));
  EXPECT_EQ(window().files().rowCount(), 0);
}

}  // namespace
}  // namespace kelvo::window
