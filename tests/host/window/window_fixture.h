#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QMessageBox>
#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/window/main_window.h"
#include "tests/support/temporary_directory.h"

namespace kelvo::window {

// Goes on with events until the condition holds, or for as long as no test should take.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::seconds limit = std::chrono::seconds(60));

// The next modal dialogues that open are given these answers, the text of a button each, in their
// order; what they said is kept. One that is not expected is closed, and fails the test.
class Answers {
 public:
  explicit Answers(std::vector<QString> buttons);
  ~Answers();
  Answers(const Answers&) = delete;
  Answers& operator=(const Answers&) = delete;

  // Text and informative text of the dialogues so far, a space between the two.
  [[nodiscard]] const std::vector<QString>& asked() const;
  void checkBoxToo();

  struct State;

 private:
  std::shared_ptr<State> state_;
};

// A window in a directory of its own, with settings of its own.
class WindowTest : public ::testing::Test {
 protected:
  WindowTest();
  ~WindowTest() override;

  // `actions`: where the action is; the real one if empty.
  void open(const std::string& actions = {});
  void close();
  [[nodiscard]] MainWindow& window() { return *window_; }
  template <typename Widget>
  Widget& widget(const char* name) {
    auto* const found = window_->findChild<Widget*>(QLatin1String(name));
    if (found == nullptr) {
      throw std::runtime_error(std::string("there is no ") + name);
    }
    return *found;
  }
  void trigger(const char* action);

  // A copy of a sample photograph.
  std::string photograph(const std::string& sample, const std::string& name) const;
  [[nodiscard]] std::string path(const std::string& name) const { return directory_.file(name); }
  void write(const std::string& name, const std::string& text) const;
  [[nodiscard]] std::string read(const std::string& name) const;

  // Adds and waits until the list has so many files.
  void add(const std::vector<std::string>& names, int count);
  // As a file manager drops them onto the window.
  void drop(const std::vector<std::string>& names);
  // Presses Run and waits for the end of the run.
  void runToEnd();
  [[nodiscard]] FileState state(int row) { return window_->files().state(row); }
  [[nodiscard]] std::string message(int row) { return window_->files().message(row).toStdString(); }
  void set(const std::string& key, const std::string& value) {
    window_->workflow().parameters()->setObject_forKey(value, key);
  }

 private:
  kelvo::testing::TemporaryDirectory directory_;
  std::unique_ptr<MainWindow> window_;
};

}  // namespace kelvo::window
