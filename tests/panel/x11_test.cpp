// The panel on a real display server, with a pointer and a keyboard that are nobody's function
// calls. Starts a server of its own; is skipped where none is installed.

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QStyleFactory>
#include <csignal>
#include <cstdio>
#include <functional>
#include <string>

#include "tests/panel/panel_fixture.h"

// Read by the leak checker: what the desktop's message bus keeps for good is no leak of ours.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1"; }

namespace kelvo {
namespace {

using testing::Rgb;

constexpr int kPatience = 10000;  // milliseconds

class X11 : public testing::PanelTest {
 protected:
  void SetUp() override {
    if (QGuiApplication::platformName() != "xcb") GTEST_SKIP() << "Xvfb or xdotool is missing";
    PanelTest::SetUp();
    panel_->move(0, 0);
    panel_->resize(panel_->sizeHint());
    panel_->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(panel_.get()));
    // There is no window manager to give the focus.
    xdotool({"windowfocus", "--sync", QString::number(panel_->winId())});
    ASSERT_TRUE(QTest::qWaitForWindowActive(panel_.get()));
  }

  static void xdotool(const QStringList& arguments) {
    QProcess process;
    process.start("xdotool", arguments);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, kPatience));
    ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
  }
  static QStringList placeOf(const QWidget* widget, QPoint at) {
    const QPoint place = widget->mapToGlobal(at) * widget->devicePixelRatioF();
    return {QString::number(place.x()), QString::number(place.y())};
  }
  static void clickOn(const QWidget* widget) {
    xdotool(QStringList{"mousemove", "--sync"} + placeOf(widget, widget->rect().center()) +
            QStringList{"click", "1"});
  }
  static void type(const char* text) { xdotool({"type", "--delay", "20", text}); }
  static void press(const char* key) { xdotool({"key", key}); }
  static bool becomes(const std::function<bool()>& what) {
    return QTest::qWaitFor(what, kPatience);
  }
};

TEST_F(X11, StepButtonsFieldsSlidersAndThePopUpWork) {
  clickOn(button("levelsShadowsUp"));
  EXPECT_TRUE(becomes([&] { return text("levelsShadowsSlider") == "1.000000"; }))
      << text("levelsShadowsSlider");

  clickOn(c().filterPopUp);
  ASSERT_TRUE(becomes([&] { return QApplication::activePopupWidget() != nullptr; }));
  press("End");
  press("Return");
  ASSERT_TRUE(becomes([&] { return text("filterPopUp") == "16"; })) << text("filterPopUp");
  EXPECT_TRUE(becomes([&] { return c().posterizeSlider->isVisible(); }));

  clickOn(c().posterizeValue);
  ASSERT_TRUE(becomes([&] { return c().posterizeValue->hasFocus(); }));
  press("ctrl+a");
  type("5");
  press("Return");
  EXPECT_TRUE(becomes([&] { return text("posterizeSlider") == "5.000000"; }))
      << text("posterizeSlider");

  press("shift+Tab");  // the step button
  press("shift+Tab");  // the slider
  press("Right");
  EXPECT_TRUE(becomes([&] { return text("posterizeSlider") == "6.000000"; }))
      << text("posterizeSlider");

  press("alt+t");
  EXPECT_TRUE(becomes([&] { return text("posterizeSlider") == "2.0"; })) << text("posterizeSlider");
  EXPECT_EQ(after(100, 0), (Rgb{0, 0, 0}));
  EXPECT_EQ(after(200, 0), (Rgb{255, 255, 255}));
}

TEST_F(X11, ACurveIsBentWithTheMouseAndTheKeys) {
  showAdjustment(2);
  ASSERT_TRUE(becomes([&] { return c().curvesView->isVisible(); }));
  const QWidget* view = c().curvesView;
  xdotool(QStringList{"mousemove", "--sync"} + placeOf(view, {99, 98}));
  xdotool({"mousedown", "1"});
  xdotool(QStringList{"mousemove", "--sync"} + placeOf(view, {99, 80}));
  xdotool(QStringList{"mousemove", "--sync"} + placeOf(view, {99, 50}));
  xdotool({"mouseup", "1"});
  EXPECT_TRUE(becomes([&] { return text("rgbN") == "3"; })) << text("rgbPoints");
  EXPECT_TRUE(becomes([&] { return after(128, 0)[0] > 160; }));

  const auto dragged = text("rgbPoints");
  press("Right");
  EXPECT_TRUE(becomes([&] { return text("rgbPoints") != dragged; }));
  press("Left");
  EXPECT_TRUE(becomes([&] { return text("rgbPoints") == dragged; })) << text("rgbPoints");
  press("BackSpace");
  EXPECT_TRUE(becomes([&] { return text("rgbN") == "2"; })) << text("rgbPoints");
  EXPECT_TRUE(becomes([&] { return after(128, 0)[0] < 140; }));
  press("ctrl+z");
  EXPECT_TRUE(becomes([&] { return text("rgbPoints") == dragged; })) << text("rgbPoints");
}

// A display server for this program alone: its process, and its name in DISPLAY. 0 if there is
// none.
pid_t startServer() {
  if (QStandardPaths::findExecutable("Xvfb").isEmpty() ||
      QStandardPaths::findExecutable("xdotool").isEmpty()) {
    return 0;
  }
  int ends[2];
  if (pipe(ends) != 0) return 0;
  const pid_t server = fork();
  if (server == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    close(ends[0]);
    const std::string descriptor = std::to_string(ends[1]);
    execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", "1400x900x24",
           "-nolisten", "tcp", nullptr);
    _exit(127);
  }
  close(ends[1]);
  std::string number;
  char digit = 0;
  while (read(ends[0], &digit, 1) == 1 && digit != '\n') number += digit;
  close(ends[0]);
  qputenv("DISPLAY", QByteArray::fromStdString(":" + number));
  qputenv("QT_QPA_PLATFORM", number.empty() ? "offscreen" : "xcb");
  return server;
}

void stopServer(pid_t server) {
  if (server <= 0) return;
  kill(server, SIGTERM);
  waitpid(server, nullptr, 0);
}

}  // namespace
}  // namespace kelvo

int main(int count, char** arguments) {
  ::testing::InitGoogleTest(&count, arguments);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  const pid_t server = kelvo::startServer();
  if (server != 0 && qgetenv("QT_QPA_PLATFORM") != "xcb") {
    std::fputs("Xvfb does not start\n", stderr);
    return 1;
  }
  int failed = 0;
  {
    const QApplication application(count, arguments);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    failed = RUN_ALL_TESTS();
  }
  kelvo::stopServer(server);
  return failed;
}
