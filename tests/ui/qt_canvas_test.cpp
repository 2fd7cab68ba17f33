#include "platform/ui/qt_canvas.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <cmath>

#include "platform/drawing/ns_image.h"
#include "platform/ui/blur.h"
#include "platform/ui/qt_image.h"

namespace kelvo {
namespace {

const NSColor kRed = NSColor::colorWithCalibratedRed_green_blue_alpha(1, 0, 0, 1);

// A white picture of 20 x 10 units with something drawn onto it.
template <typename Draw>
QImage drawn(const Draw& draw, int scale = 1) {
  QImage picture(20 * scale, 10 * scale, QImage::Format_ARGB32_Premultiplied);
  picture.setDevicePixelRatio(scale);
  picture.fill(Qt::white);
  QPainter painter(&picture);
  QtCanvas canvas(painter, {20, 10}, scale);
  draw(canvas);
  return picture;
}

bool isRed(const QImage& picture, int x, int y) { return picture.pixel(x, y) == qRgb(255, 0, 0); }
int redPixels(const QImage& picture) {
  int count = 0;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) count += isRed(picture, x, y) ? 1 : 0;
  }
  return count;
}

TEST(QtCanvas, GrowsUpwardsFromTheLowerLeftCorner) {
  for (const int scale : {1, 2}) {
    const QImage picture = drawn(
        [](Canvas& canvas) {
          canvas.setColor(kRed);
          canvas.fillRect({{2, 1}, {3, 1}});
        },
        scale);
    EXPECT_EQ(redPixels(picture), 3 * scale * scale);
    EXPECT_TRUE(isRed(picture, 2 * scale, 8 * scale));
    EXPECT_TRUE(isRed(picture, 5 * scale - 1, 9 * scale - 1));
  }
}

TEST(QtCanvas, AFrameIsOneUnitInsideItsRectangle) {
  const QImage picture = drawn([](Canvas& canvas) {
    canvas.setColor(kRed);
    canvas.frameRect({{2, 1}, {6, 5}});
  });
  EXPECT_EQ(redPixels(picture), 6 * 5 - 4 * 3);
  EXPECT_TRUE(isRed(picture, 2, 8));
  EXPECT_TRUE(isRed(picture, 7, 4));
  EXPECT_FALSE(isRed(picture, 4, 6));
}

TEST(QtCanvas, ClipsKeepWhatIsInsideAllOfThemUntilRestored) {
  const QImage picture = drawn([](Canvas& canvas) {
    canvas.setColor(kRed);
    canvas.saveGraphicsState();
    canvas.addClip(NSBezierPath::bezierPathWithRect({{0, 0}, {10, 10}}));
    canvas.addClip(NSBezierPath::bezierPathWithRect({{8, 0}, {12, 10}}));
    canvas.fillRect({{0, 0}, {20, 10}});
    canvas.restoreGraphicsState();
    canvas.fillRect({{19, 9}, {1, 1}});
  });
  EXPECT_EQ(redPixels(picture), 2 * 10 + 1);
  EXPECT_TRUE(isRed(picture, 8, 0));
  EXPECT_TRUE(isRed(picture, 19, 0));
}

TEST(QtCanvas, NothingIsDrawnOutsideTheView) {
  QImage picture(40, 40, QImage::Format_ARGB32_Premultiplied);
  picture.fill(Qt::white);
  QPainter painter(&picture);
  painter.translate(10, 10);
  {
    QtCanvas canvas(painter, {20, 10}, 1);
    canvas.setColor(kRed);
    canvas.fillRect({{-100, -100}, {300, 300}});
  }
  painter.end();
  EXPECT_EQ(redPixels(picture), 200);
  EXPECT_TRUE(isRed(picture, 10, 10));
}

TEST(QtCanvas, RestoresThePainterHoweverManySavesAreOpen) {
  QImage picture(20, 10, QImage::Format_ARGB32_Premultiplied);
  QPainter painter(&picture);
  {
    QtCanvas canvas(painter, {20, 10}, 1);
    canvas.restoreGraphicsState();  // of nothing
    canvas.saveGraphicsState();
    canvas.saveGraphicsState();
  }
  EXPECT_TRUE(painter.transform().isIdentity());
}

TEST(QtCanvas, DashesAreInViewUnitsWhateverTheWidth) {
  const QImage picture = drawn([](Canvas& canvas) {
    canvas.setColor(kRed);
    canvas.setShouldAntialias(false);
    NSBezierPath line;
    line.setLineWidth(2);
    const double dash[] = {4, 5};
    line.setLineDash_count_phase(dash, 0);
    line.moveToPoint({0, 5});
    line.lineToPoint({20, 5});
    canvas.stroke(line);
  });
  for (int x = 0; x < 20; ++x) EXPECT_EQ(isRed(picture, x, 5), x % 9 < 4) << x;
  EXPECT_EQ(redPixels(picture), (4 + 4 + 2) * 2);
}

TEST(QtCanvas, FillsByTheNonZeroWindingRule) {
  const QImage picture = drawn([](Canvas& canvas) {
    canvas.setColor(kRed);
    NSBezierPath path;
    path.appendBezierPathWithRect({{0, 0}, {10, 10}});
    path.appendBezierPathWithRect({{2, 2}, {4, 4}});
    canvas.fill(path);
  });
  EXPECT_EQ(redPixels(picture), 100);
}

TEST(QtCanvas, AShadowLiesBlurredUnderWhatIsDrawn) {
  const QImage picture = drawn([](Canvas& canvas) {
    canvas.setColor(NSColor::colorWithCalibratedWhite_alpha(0, 1));
    canvas.setShadow({kRed, 4});
    canvas.fillRect({{8, 4}, {3, 3}});
  });
  EXPECT_EQ(picture.pixel(9, 4), qRgb(0, 0, 0));
  const QRgb beside = picture.pixel(12, 4);
  EXPECT_EQ(qRed(beside), 255);
  EXPECT_LT(qGreen(beside), 255);
  EXPECT_GT(qGreen(picture.pixel(14, 4)), qGreen(beside));
  // The same at the same distance on the other side.
  EXPECT_EQ(picture.pixel(6, 4), beside);
}

TEST(QtCanvas, PicturesAreDrawnWithAFractionOfTheirAlpha) {
  const auto image = NSImage::initWithSize({4, 4});
  Canvas& canvas = image->lockFocus();
  canvas.setColor(NSColor::colorWithCalibratedWhite_alpha(0, 1));
  canvas.fillRect({{0, 0}, {2, 2}});
  canvas.fillRect({{1, 1}, {1, 1}});  // drawn twice, faded once
  image->unlockFocus();
  const QImage picture = drawn([&](Canvas& target) {
    target.compositeToPoint_operation_fraction(image, {3, 1}, NSCompositingOperation::sourceOver,
                                               0.25);
  });
  for (const QPoint& inside : {QPoint(3, 8), QPoint(4, 7)}) {
    EXPECT_NEAR(qRed(picture.pixel(inside)), 191, 1);
  }
  EXPECT_EQ(picture.pixel(5, 8), qRgb(255, 255, 255));
}

TEST(QtCanvas, PicturesThatDoNotExistAreNotDrawn) {
  const QImage picture = drawn([](Canvas& canvas) {
    canvas.compositeToPoint_operation_fraction(nullptr, {0, 0}, NSCompositingOperation::sourceOver,
                                               1);
    canvas.compositeToPoint_operation_fraction(NSImage::initByReferencingFile("no such file"),
                                               {0, 0}, NSCompositingOperation::sourceOver, 1);
    canvas.compositeToPoint_operation_fraction(NSImage::initWithSize({0, 0}), {0, 0},
                                               NSCompositingOperation::sourceOver, 1);
  });
  for (int x = 0; x < 20; ++x) EXPECT_EQ(picture.pixel(x, 5), qRgb(255, 255, 255));
}

TEST(QtCanvas, FilesAreDrawnAtTheirSizeAtEitherScale) {
  const std::string path = KELVO_SOURCE_DIR "/resources/CurvesBoxNormal.png";
  const NSImageRef image = NSImage::initByReferencingFile(path);
  for (const int scale : {1, 2}) {
    const QImage file = toQt(*image, scale);
    EXPECT_EQ(file.size(), QSize(7 * scale, 7 * scale));
    EXPECT_EQ(file.deviceIndependentSize(), QSizeF(7, 7));
  }
}

TEST(QtCanvas, TextStandsOnItsBoxAndIsAsWideAsMeasured) {
  measureTextWithQt();
  const TextAttributes attributes{NSFont::boldSystemFontOfSize(9), kRed};
  const NSSize size = sizeWithAttributes("128", attributes);
  setTextMeasurer(nullptr);
  EXPECT_GT(size.width, 8);
  EXPECT_GT(size.height, 8);
  QImage picture(60, 40, QImage::Format_ARGB32_Premultiplied);
  picture.fill(Qt::white);
  QPainter painter(&picture);
  {
    QtCanvas canvas(painter, {60, 40}, 1);
    canvas.drawTextAtPoint("128", {10, 15}, attributes);
  }
  painter.end();
  QRect box;
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 60; ++x) {
      if (picture.pixel(x, y) != qRgb(255, 255, 255)) box |= QRect(x, y, 1, 1);
    }
  }
  EXPECT_GE(box.left(), 9);
  EXPECT_LE(box.right(), 10 + std::ceil(size.width));
  EXPECT_LE(box.bottom(), 40 - 15);
  EXPECT_GE(box.top(), 40 - 15 - std::ceil(size.height));
  EXPECT_GT(box.height(), 4);
}

// Blurring

TEST(Blur, SpreadsAlphaAsAGaussianDoes) {
  QImage dot(101, 101, QImage::Format_ARGB32_Premultiplied);
  dot.fill(Qt::transparent);
  for (int y = 45; y <= 55; ++y) {
    for (int x = 45; x <= 55; ++x) dot.setPixel(x, y, qRgba(0, 0, 0, 255));
  }
  for (const double deviation : {2.0, 4.0}) {
    const QImage blurred = blurredShadow(dot, deviation, Qt::red);
    const auto share = [deviation](int at) {
      const double s = deviation * std::sqrt(2.0);
      return (std::erf((at + 0.5 + 5) / s) - std::erf((at - 0.5 - 5) / s)) / 2;
    };
    for (int x = 30; x <= 70; ++x) {
      for (const int y : {50, 53, 57}) {
        // Three boxes come within 4 % of a Gaussian.
        EXPECT_NEAR(qAlpha(blurred.pixel(x, y)), 255 * share(x - 50) * share(y - 50), 10)
            << deviation << ": " << x << ' ' << y;
      }
    }
  }
}

TEST(Blur, OfNothingIsThePictureInOneColour) {
  QImage picture(3, 1, QImage::Format_ARGB32_Premultiplied);
  picture.fill(Qt::transparent);
  picture.setPixel(1, 0, qRgba(0, 0, 0, 200));
  const QImage same = blurredShadow(picture, 0, QColor::fromRgbF(0, 1, 0, 0.5F));
  EXPECT_EQ(same.pixelColor(1, 0).green(), 255);
  EXPECT_EQ(qAlpha(same.pixel(1, 0)), 100);
  EXPECT_EQ(qAlpha(same.pixel(0, 0)), 0);
}

TEST(Blur, KeepsTheAmountOfAlphaAwayFromTheEdges) {
  QImage picture(60, 60, QImage::Format_ARGB32_Premultiplied);
  picture.fill(Qt::transparent);
  for (int i = 0; i < 10; ++i) picture.setPixel(25 + i, 30, qRgba(255, 255, 255, 255));
  const QImage blurred = blurredShadow(picture, 3, Qt::black);
  int sum = 0;
  for (int y = 0; y < 60; ++y) {
    for (int x = 0; x < 60; ++x) sum += qAlpha(blurred.pixel(x, y));
  }
  EXPECT_NEAR(sum, 2550, 60);  // rounding of each pixel
}

}  // namespace
}  // namespace kelvo
