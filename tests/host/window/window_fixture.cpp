#include "tests/host/window/window_fixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QDropEvent>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QTimer>
#include <filesystem>

#include "host/run/run_plan.h"
#include "platform/foundation/ns_bundle.h"

namespace kelvo::window {

namespace fs = std::filesystem;

bool waitUntil(const std::function<bool()>& condition, std::chrono::seconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 20);
    QTest::qWait(1);
  }
  return true;
}

struct Answers::State {
  std::vector<QString> buttons;
  std::vector<QString> asked;
  bool checkBox = false;
  QTimer timer;

  void look() {
    auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr) {
      return;
    }
    QString said = box->text();
    if (!box->informativeText().isEmpty()) {
      said += QLatin1Char(' ') + box->informativeText();
    }
    asked.push_back(said);
    if (asked.size() > buttons.size()) {
      ADD_FAILURE() << "not expected: " << said.toStdString();
      box->reject();
      return;
    }
    if (checkBox && box->checkBox() != nullptr) {
      box->checkBox()->setChecked(true);
    }
    const QString& wanted = buttons[asked.size() - 1];
    for (QAbstractButton* const button : box->buttons()) {
      if (button->text().remove(QLatin1Char('&')) == wanted) {
        button->click();
        return;
      }
    }
    ADD_FAILURE() << "there is no " << wanted.toStdString() << " in: " << said.toStdString();
    box->reject();
  }
};

Answers::Answers(std::vector<QString> buttons) : state_(std::make_shared<State>()) {
  state_->buttons = std::move(buttons);
  QObject::connect(&state_->timer, &QTimer::timeout, [state = state_.get()] { state->look(); });
  state_->timer.start(10);
}

Answers::~Answers() {
  EXPECT_EQ(state_->asked.size(), state_->buttons.size()) << "dialogues that have opened";
}

const std::vector<QString>& Answers::asked() const { return state_->asked; }

void Answers::checkBoxToo() { state_->checkBox = true; }

WindowTest::WindowTest() {
  QSettings::setPath(QSettings::IniFormat, QSettings::UserScope,
                     QString::fromStdString(directory_.file("settings")));
}

WindowTest::~WindowTest() { window_.reset(); }

void WindowTest::open(const std::string& actions) {
  window_.reset();
  const std::vector<std::string> directories = {
      actions.empty() ? std::string(KELVO_BINARY_DIR "/lib/kelvo") : actions};
  const auto bundle = NSBundle::bundleWithPath(*findBundle(directories, host::kActionName));
  window_ = std::make_unique<MainWindow>((*bundle)->info().defaultParameters, directories);
  window_->show();
  QCoreApplication::processEvents();
}

void WindowTest::close() { window_.reset(); }

void WindowTest::trigger(const char* action) { widget<QAction>(action).trigger(); }

std::string WindowTest::photograph(const std::string& sample, const std::string& name) const {
  fs::create_directories(fs::path(path(name)).parent_path());
  fs::copy_file(fs::path(KELVO_SOURCE_DIR "/resources/samples") / sample, path(name));
  fs::permissions(path(name), fs::perms::owner_write, fs::perm_options::add);
  return path(name);
}

void WindowTest::write(const std::string& name, const std::string& text) const {
  fs::create_directories(fs::path(path(name)).parent_path());
  kelvo::testing::writeFile(path(name), text);
}

std::string WindowTest::read(const std::string& name) const {
  return kelvo::testing::readFile(path(name));
}

void WindowTest::add(const std::vector<std::string>& names, int count) {
  window_->addFiles(names);
  ASSERT_TRUE(waitUntil([&] { return window_->files().rowCount() == count; }))
      << window_->files().rowCount() << " files in the list";
}

void WindowTest::drop(const std::vector<std::string>& names) {
  QMimeData data;
  QList<QUrl> urls;
  for (const std::string& name : names) {
    urls.append(QUrl::fromEncoded(
        "file://" + QByteArray::fromStdString(name).toPercentEncoding(QByteArrayLiteral("/"))));
  }
  data.setUrls(urls);
  const QPointF middle = window_->rect().center();
  QDragEnterEvent enter(middle.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(window_.get(), &enter);
  ASSERT_TRUE(enter.isAccepted());
  QDropEvent event(middle, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(window_.get(), &event);
}

void WindowTest::runToEnd() {
  bool ended = false;
  auto* const controller = window_->findChild<RunController*>();
  const auto connection =
      QObject::connect(controller, &RunController::ended, [&ended] { ended = true; });
  widget<QPushButton>("run").click();
  EXPECT_TRUE(waitUntil([&ended] { return ended; }));
  QObject::disconnect(connection);
}

}  // namespace kelvo::window
