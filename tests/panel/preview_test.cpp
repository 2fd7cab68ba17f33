#include <gtest/gtest.h>

#include <QSignalSpy>

#include "action/apply_image.h"
#include "tests/panel/panel_fixture.h"

namespace kelvo {
namespace {

using testing::PanelTest;
using testing::Rgb;

using Preview = PanelTest;

TEST_F(Preview, ShowsTheChosenAdjustmentWithItsStoredSettings) {
  showAdjustment(15);
  for (const int x : {0, 127, 129, 255}) {
    const int expected = x < 128 ? 0 : 255;
    EXPECT_EQ(after(x, 0), (Rgb{expected, expected, expected})) << x;
  }
  typeAndConfirm(c().thresholdValue, "200");
  EXPECT_EQ(after(180, 0), (Rgb{0, 0, 0}));
  EXPECT_EQ(after(220, 0), (Rgb{255, 255, 255}));
}

TEST_F(Preview, TheBeforeViewNeverChanges) {
  const NSImageRef before = c().beforeView->image();
  for (const int number : {0, 1, 2, 3, 13, 16}) showAdjustment(number);
  EXPECT_EQ(c().beforeView->image(), before);
}

TEST_F(Preview, EachStepIsMadeOfTheSampleNotOfTheLastStep) {
  showAdjustment(13);
  c().applyInvert(nullptr);
  c().applyInvert(nullptr);
  EXPECT_EQ(after(10, 0), (Rgb{245, 245, 245}));
  EXPECT_EQ(after(10, 1), (Rgb{245, 255, 10}));
}

TEST_F(Preview, AnUnknownAdjustmentIsLoggedAndShowsNothing) {
  put("filterPopUp", "12");
  const testing::CapturedLog log;
  c().applyInvert(nullptr);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{"Error: unknown index"}));
  EXPECT_TRUE(renderedPicture(*c().afterView->image()).isNull());
  showActivePanel();  // and can be painted
  panel_->grab();
}

TEST_F(Preview, IsRenderedWhenItIsDrawnInTheViewsProportions) {
  showAdjustment(13);
  showActivePanel();
  const QRect place = c().afterView->pictureRect();
  EXPECT_NEAR(static_cast<double>(place.width()) / place.height(), 128, 64);  // 256 x 2
  const QImage drawn = c().afterView->grab().toImage();
  const QPoint nearlyBlack = place.topLeft() + QPoint(1, 0);
  EXPECT_GT(qGray(drawn.pixel(nearlyBlack)), 200);
}

TEST_F(Preview, APictureKeepsItsProportionsInEveryView) {
  KelvoImage view;
  view.setImage(NSImage::initWithSize({540, 360}));
  const std::pair<QSize, QSize> fits[] = {
      {{320, 500}, {318, 212}}, {{1000, 100}, {146, 97}}, {{542, 363}, {540, 360}}};
  for (const auto& [size, picture] : fits) {
    view.resize(size);
    EXPECT_EQ(view.pictureRect().size(), picture) << size.width();
    EXPECT_TRUE(view.rect().adjusted(1, 2, -1, -1).contains(view.pictureRect()));
  }
}

TEST_F(Preview, TranslucentSamplesStayTranslucent) {
  QImage sample(2, 1, QImage::Format_RGBA8888);
  sample.setPixelColor(0, 0, QColor(255, 0, 0, 255));
  sample.setPixelColor(1, 0, QColor(255, 255, 255, 0));
  panel_ = nullptr;
  panel_ = std::make_unique<Panel>(params_, sample);
  showAdjustment(13);
  const QImage picture = renderedPicture(*c().afterView->image());
  EXPECT_EQ(picture.pixelColor(0, 0), QColor(0, 255, 255, 255));
  EXPECT_EQ(picture.pixelColor(1, 0).alpha(), 0);
}

TEST_F(Preview, WithoutASampleTheShippedPictureIsShown) {
  panel_ = nullptr;
  panel_ = std::make_unique<Panel>(params_, QImage());
  EXPECT_EQ(c().beforeImage->extent(), (CGRect{0, 0, 540, 360}));
}

// What the window is told

using Changes = PanelTest;

TEST_F(Changes, AreToldOncePerStoredChange) {
  const QSignalSpy changed(panel_.get(), &Panel::parametersChanged);
  QTest::mouseClick(button("levelsShadowsUp"), Qt::LeftButton);
  EXPECT_EQ(changed.count(), 1);
  QTest::keyClick(c().levelsShadowsSlider, Qt::Key_Right);  // stores nothing
  EXPECT_EQ(changed.count(), 1);
  c().applyLevels(nullptr);
  EXPECT_EQ(changed.count(), 1);
}

TEST_F(Changes, AStoreOfTheSameTextIsNone) {
  typeAndConfirm(c().levelsShadowsValue, "5");
  const QSignalSpy changed(panel_.get(), &Panel::parametersChanged);
  typeAndConfirm(c().levelsHighlightsValue, "255");
  EXPECT_EQ(changed.count(), 0);
}

TEST_F(Changes, ComeFromTheCurvesToo) {
  showAdjustment(2);
  const QSignalSpy changed(panel_.get(), &Panel::parametersChanged);
  c().curvesView->view().addPointToCurveAt({50, 60});
  c().applyCurves(nullptr);
  c().applyCurves(nullptr);
  EXPECT_EQ(changed.count(), 1);
}

}  // namespace
}  // namespace kelvo
