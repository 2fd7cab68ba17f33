#pragma once

#include <gtest/gtest.h>

#include <QTest>
#include <array>
#include <map>
#include <memory>
#include <string>

#include "panel/kelvo_controller.h"
#include "panel/panel.h"
#include "panel/picture.h"
#include "tests/panel/default_parameters.h"
#include "tests/support/captured_log.h"

namespace kelvo::testing {

using Texts = std::map<std::string, std::string>;
using Rgb = std::array<int, 3>;

inline Texts textsOf(const ParameterDictionary& parameters) {
  Texts texts;
  for (const auto& [key, value] : parameters.all()) texts[key] = value.stringValue();
  return texts;
}

// What is new or other in `after`.
inline Texts changes(const Texts& before, const Texts& after) {
  Texts changed;
  for (const auto& [key, text] : after) {
    const auto old = before.find(key);
    if (old == before.end() || old->second != text) changed[key] = text;
  }
  return changed;
}

// 256 x 2: column x is the grey x above and (x, 0, 255 - x) below.
inline QImage rampPicture() {
  QImage picture(256, 2, QImage::Format_RGB888);
  for (int x = 0; x < 256; ++x) {
    picture.setPixelColor(x, 0, QColor(x, x, x));
    picture.setPixelColor(x, 1, QColor(x, 0, 255 - x));
  }
  return picture;
}

// A panel on the default parameters with the ramp as its sample.
class PanelTest : public ::testing::Test {
 protected:
  void SetUp() override { openPanel(); }

  void openPanel() {
    panel_ = nullptr;
    panel_ = std::make_unique<Panel>(params_, rampPicture());
  }
  void showActivePanel() {
    panel_->resize(panel_->sizeHint());
    panel_->show();
    panel_->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(panel_.get()));
  }
  [[nodiscard]] KelvoController& c() const { return panel_->controller(); }
  [[nodiscard]] std::string text(const char* key) const { return params_->stringValue(key); }
  void put(const char* key, const char* value) { params_->setObject_forKey(value, key); }
  // Chooses an adjustment as a workflow that was opened does.
  void showAdjustment(int number) {
    put("filterPopUp", std::to_string(number).c_str());
    panel_->reload();
  }
  [[nodiscard]] Texts texts() const { return textsOf(*params_); }
  [[nodiscard]] Rgb after(int x, int y) const {
    const QColor color = renderedPicture(*c().afterView->image()).pixelColor(x, y);
    return {color.red(), color.green(), color.blue()};
  }
  KelvoButton* button(const char* name) const { return panel_->findChild<KelvoButton*>(name); }
  static void typeAndConfirm(KelvoTextField* field, const char* typed) {
    field->selectAll();
    QTest::keyClicks(field, typed);
    QTest::keyClick(field, Qt::Key_Return);
  }

  std::shared_ptr<ParameterDictionary> params_ = defaultParameters();
  std::unique_ptr<Panel> panel_;
};

// How often the preview is computed while it lives, told by the complaint of each computation. The
// parameters name no adjustment meanwhile.
class PreviewCount {
 public:
  explicit PreviewCount(ParameterDictionary& parameters) {
    parameters.setObject_forKey("99", "filterPopUp");
  }
  [[nodiscard]] std::size_t count() const { return log_.lines().size(); }

 private:
  CapturedLog log_;
};

}  // namespace kelvo::testing
