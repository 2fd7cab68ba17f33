// What resources/panel.ui has to have.

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <set>

#include "tests/panel/panel_fixture.h"

namespace kelvo {
namespace {

using testing::PanelTest;

class Layout : public PanelTest {
 protected:
  [[nodiscard]] QList<QWidget*> pages() const {
    QList<QWidget*> pages;
    for (int i = 0; i < c().tabView->count(); ++i) pages.append(c().tabView->widget(i));
    return pages;
  }
};

TEST_F(Layout, HasSeventeenTabsTwoOfThemEmpty) {
  ASSERT_EQ(pages().size(), 17);
  for (const int empty : {5, 12}) EXPECT_TRUE(pages()[empty]->children().isEmpty());
}

TEST_F(Layout, ThePopUpHasTheAdjustmentsAndTwoSeparators) {
  const QStringList titles = {"Levels",
                              "Auto",
                              "Curves",
                              "Color Balance",
                              "Brightness and Contrast",
                              "",
                              "Hue/Saturation",
                              "Desaturate",
                              "Colorize",
                              "Replace Color",
                              "Channel Mixer",
                              "Exposure",
                              "",
                              "Invert",
                              "Equalize",
                              "Threshold",
                              "Posterize"};
  ASSERT_EQ(c().filterPopUp->count(), titles.size());
  for (int i = 0; i < titles.size(); ++i) EXPECT_EQ(c().filterPopUp->itemText(i), titles[i]);
}

TEST_F(Layout, EveryControlHasANameForThoseWhoDoNotSeeIt) {
  for (const auto* control : panel_->findChildren<QWidget*>()) {
    if (control->focusPolicy() == Qt::NoFocus || control->isWindow()) continue;
    if (control->parentWidget()->inherits("QAbstractScrollArea") ||
        control->parentWidget()->inherits("QComboBox") || control->inherits("QScrollBar") ||
        control->parentWidget()->inherits("QComboBoxPrivateContainer")) {
      continue;
    }
    const auto* button = qobject_cast<const QAbstractButton*>(control);
    const bool named =
        !control->accessibleName().isEmpty() || (button != nullptr && button->text().size() > 1);
    EXPECT_TRUE(named) << control->objectName().toStdString();
  }
}

TEST_F(Layout, EveryControlHasAToolTip) {
  for (const QWidget* page : pages()) {
    for (const auto* control : page->findChildren<QWidget*>()) {
      if (!control->property("action").isValid() && !control->property("sliderName").isValid()) {
        continue;
      }
      EXPECT_FALSE(control->toolTip().isEmpty()) << control->objectName().toStdString();
    }
  }
}

TEST_F(Layout, EverySliderHasItsStepButtonsAndItsField) {
  const auto sliders = panel_->findChildren<NSSlider*>();
  EXPECT_EQ(sliders.size(), 24);
  for (const NSSlider* slider : sliders) {
    int up = 0;
    int down = 0;
    int fields = 0;
    for (const auto* control : panel_->findChildren<QWidget*>()) {
      if (control->property("sliderName").toString() != slider->objectName()) continue;
      if (const auto* button = qobject_cast<const KelvoButton*>(control)) {
        ++(button->tag() == 1 ? up : down);
      }
      if (const auto* field = qobject_cast<const KelvoTextField*>(control)) {
        EXPECT_EQ(field->getSlider(), slider);
        ++fields;
      }
    }
    EXPECT_EQ(up, 1) << slider->objectName().toStdString();
    EXPECT_EQ(down, 1);
    EXPECT_EQ(fields, 1);
  }
}

TEST_F(Layout, RangesOfLevelsBalanceAndMixer) {
  for (const char* name :
       {"levelsShadowsSlider", "levelsMidtonesSlider", "levelsHighlightsSlider"}) {
    EXPECT_EQ(panel_->findChild<NSSlider*>(name)->minValue(), 0);
    EXPECT_EQ(panel_->findChild<NSSlider*>(name)->maxValue(), 255);
  }
  for (const char* name :
       {"colorBalanceCRSlider", "colorBalanceMGSlider", "colorBalanceYBSlider"}) {
    EXPECT_EQ(panel_->findChild<NSSlider*>(name)->minValue(), -100);
    EXPECT_EQ(panel_->findChild<NSSlider*>(name)->maxValue(), 100);
  }
  for (const char* name : {"channelMixerRedSlider", "channelMixerGreenSlider",
                           "channelMixerBlueSlider", "channelMixerConstantSlider"}) {
    EXPECT_EQ(panel_->findChild<NSSlider*>(name)->minValue(), -200);
    EXPECT_EQ(panel_->findChild<NSSlider*>(name)->maxValue(), 200);
  }
}

// The letters after "&" of what a page shows, the adjustment's pop-up and Reset included.
TEST_F(Layout, NoTwoControlsOfAPageHaveTheSameMnemonic) {
  for (const QWidget* page : pages()) {
    QString letters = "a";
    const auto take = [&](const QString& text) {
      const auto at = text.indexOf('&');
      if (at >= 0) letters += text[at + 1].toLower();
    };
    for (const auto* label : page->findChildren<QLabel*>()) {
      take(label->text());
      EXPECT_TRUE(!label->text().contains('&') || label->buddy() != nullptr);
    }
    for (const auto* button : page->findChildren<QAbstractButton*>()) take(button->text());
    const std::set<QChar> different(letters.begin(), letters.end());
    EXPECT_EQ(static_cast<qsizetype>(different.size()), letters.size())
        << page->objectName().toStdString() << ' ' << letters.toStdString();
  }
}

TEST_F(Layout, TheTabKeyVisitsEveryControlOfAPageFromTopToBottom) {
  showActivePanel();
  for (const int number : {0, 3, 4, 6, 8, 9, 10, 11, 15, 16}) {
    showAdjustment(number);
    QApplication::processEvents();
    const QWidget* page = c().tabView->currentWidget();
    c().filterPopUp->setFocus();
    std::set<const QWidget*> visited;
    int y = -1;
    for (int i = 0; i < 40; ++i) {
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
      const QWidget* at = QApplication::focusWidget();
      if (!page->isAncestorOf(at)) break;
      const int middle = at->mapTo(page, at->rect().center()).y();
      EXPECT_GE(middle, y - 4) << at->objectName().toStdString();
      y = middle;
      visited.insert(at);
    }
    for (const auto* control : page->findChildren<QWidget*>()) {
      if (control->property("action").isValid() && control->focusPolicy() != Qt::NoFocus) {
        EXPECT_TRUE(visited.contains(control)) << control->objectName().toStdString();
      }
      if (control->property("sliderName").isValid()) {
        EXPECT_TRUE(visited.contains(control)) << control->objectName().toStdString();
      }
    }
  }
}

TEST_F(Layout, TheSettingsStandBesideTheAfterViewAtEverySize) {
  showActivePanel();
  for (const QSize& size : {panel_->sizeHint(), QSize(1200, 500), QSize(1000, 320)}) {
    panel_->resize(size);
    QApplication::processEvents();
    const auto place = [&](const QWidget* view) {
      return QRect(view->mapTo(panel_.get(), QPoint(0, 0)), view->size());
    };
    const QRect after = place(c().afterView);
    const QRect tabs = place(c().tabView);
    const QRect popUp = place(c().filterPopUp);
    // With y upwards from the panel's lower edge, as views are laid out.
    const int height = panel_->height();
    const int popUpY = height - (popUp.y() + popUp.height());
    const int afterTop = height - after.y();
    EXPECT_EQ(tabs.x(), after.x() + after.width() + spaceBetweenImageAndBox);
    EXPECT_EQ(height - (tabs.y() + tabs.height()), popUpY + 3);
    EXPECT_EQ(tabs.height(), afterTop - (popUpY + 3));
  }
}

TEST_F(Layout, NothingOfAPageIsCutOff) {
  panel_->resize(panel_->minimumSizeHint());
  showActivePanel();
  panel_->resize(panel_->minimumSizeHint());
  for (int number = 0; number < 17; ++number) {
    showAdjustment(number);
    QApplication::processEvents();
    const QWidget* page = c().tabView->currentWidget();
    for (const auto* control : page->findChildren<QWidget*>()) {
      if (!control->isVisible()) continue;
      const QRect place(control->mapTo(page, QPoint(0, 0)), control->size());
      EXPECT_TRUE(page->rect().contains(place)) << control->objectName().toStdString();
      const auto* label = qobject_cast<const QLabel*>(control);
      const int needed = label != nullptr && label->wordWrap()
                             ? label->heightForWidth(label->width())
                             : control->minimumSizeHint().height();
      EXPECT_GE(control->height(), needed) << control->objectName().toStdString();
      EXPECT_GE(control->width(), control->minimumSizeHint().width())
          << control->objectName().toStdString();
    }
  }
}

}  // namespace
}  // namespace kelvo
