#include <array>

#include "curves_editor/kelvo_tq_curves_view.h"

// The layers of the view.
namespace kelvo {
namespace {

constexpr double kHistogramOpacity = 0.15;
constexpr float kGridWhite = 0.45F;
constexpr double kQuarterMarks[] = {99, 51, 147};
constexpr std::array<double, 2> kGuideDash{4, 5};
constexpr double kCurveWidth = 1.1;
constexpr double kGlowRadius = 4;

constexpr double kInactiveAlpha = 0.25;
constexpr double kGlowAlpha = 0.5;

NSColor channelColor(int channel, double alpha) {
  return NSColor::colorWithCalibratedRed_green_blue_alpha(
      channel == 1 ? 1 : 0, channel == 2 ? 1 : 0, channel == 3 ? 1 : 0, alpha);
}

// On the dark grey behind the plot an inactive master curve glows white.
NSColor glowColor(int channel, double alpha) {
  return channel == 0 ? NSColor::colorWithCalibratedWhite_alpha(1, alpha)
                      : channelColor(channel, alpha);
}

}  // namespace

void KelvoTQCurvesView::drawRect(Canvas& canvas, const NSRect& /*dirty*/) {
  drawHistogram(canvas);
  drawGrid(canvas);
  drawFrames(canvas);
  canvas.saveGraphicsState();
  canvas.setShouldAntialias(true);
  drawGuide(canvas);
  drawCurves(canvas);
  drawPointBounds(canvas);
  drawLabels();
  canvas.restoreGraphicsState();
}

void KelvoTQCurvesView::drawHistogram(Canvas& canvas) const {
  const NSImageRef* const images[] = {&rgbHistogramImage_, &redHistogramImage_,
                                      &greenHistogramImage_, &blueHistogramImage_};
  const NSImageRef& image = *images[activeChannel_];
  if (image == nullptr) return;
  canvas.compositeToPoint_operation_fraction(image, {kMargin, kMargin},
                                             NSCompositingOperation::sourceOver, kHistogramOpacity);
}

void KelvoTQCurvesView::drawGrid(Canvas& canvas) const {
  const auto [width, height] = frame_.size;
  canvas.setColor(NSColor::colorWithCalibratedWhite_alpha(kGridWhite, 1));
  canvas.frameRect({{kMargin, kMargin}, {width - 2 * kMargin, height - 2 * kMargin}});
  NSBezierPath diagonal;
  diagonal.moveToPoint({kMargin, kMargin});
  diagonal.lineToPoint({width - kMargin, height - kMargin});
  canvas.stroke(diagonal);
  for (const double x : kQuarterMarks) {
    canvas.fillRect({{x, kMargin}, {1, height - 2 * kMargin}});
  }
  for (const double y : kQuarterMarks) {
    canvas.fillRect({{kMargin, y}, {width - 2 * kMargin, 1}});
  }
}

void KelvoTQCurvesView::drawFrames(Canvas& /*canvas*/) const {}

std::optional<CurvePoint> KelvoTQCurvesView::selectedPoint() const {
  const std::vector<CurvePoint>& points = curves_[index(activeChannel_)].points;
  const int s = selected_[index(activeChannel_)];
  if (s < 0 || s >= static_cast<int>(points.size())) return std::nullopt;
  return points[index(s)];
}

void KelvoTQCurvesView::drawGuide(Canvas& canvas) const {
  const auto point = selectedPoint();
  if (!point) return;
  const auto [width, height] = frame_.size;
  const double x = point->x + kMargin;
  const double y = point->y + kMargin;
  canvas.saveGraphicsState();
  canvas.setShouldAntialias(false);
  canvas.setColor(
      NSColor::colorWithCalibratedRed_green_blue_alpha(165.0 / 255, 154.0 / 255, 115.0 / 255, 1));
  const NSPoint lines[2][2] = {{{x, kMargin}, {x, height - kMargin}},
                               {{kMargin, y}, {width - kMargin, y}}};
  for (const auto& [from, to] : lines) {
    NSBezierPath line;
    line.setLineWidth(1);
    line.setLineDash_count_phase(kGuideDash, 0);
    line.moveToPoint(from);
    line.lineToPoint(to);
    canvas.stroke(line);
  }
  canvas.restoreGraphicsState();
}

void KelvoTQCurvesView::drawCurves(Canvas& canvas) {
  if (activeChannel_ == 0) {
    for (int channel = 1; channel < 4; ++channel) {
      if (needToDrawCurveForChannel(channel)) drawCurveForChannel(canvas, channel);
    }
  }
  drawCurveForChannel(canvas, activeChannel_);
}

void KelvoTQCurvesView::drawCurveForChannel(Canvas& canvas, int channel) {
  if (channel < 0 || channel > 3) return;
  if (controller_ != nullptr) controller_->applyCurves();
  const bool active = channel == activeChannel_;
  canvas.saveGraphicsState();
  NSBezierPath path = getFullCurveBezierPathForChannel(channel);
  if (active) {
    clipAroundPoints(canvas, channel);
  } else {
    canvas.setShadow({glowColor(channel, kGlowAlpha), kGlowRadius});
  }
  canvas.addClip(NSBezierPath::bezierPathWithRect(bounds()));
  path.setLineWidth(kCurveWidth);
  canvas.setColor(active ? channelColor(channel, 1) : glowColor(channel, kInactiveAlpha));
  canvas.stroke(path);
  canvas.restoreGraphicsState();
}

// Keeps the curve out of the box around each point: what is left, below, above and right of it.
void KelvoTQCurvesView::clipAroundPoints(Canvas& canvas, int channel) const {
  const auto width = static_cast<float>(frame_.size.width) - 2 * kMargin;
  const auto height = static_cast<float>(frame_.size.height) - 2 * kMargin;
  for (const CurvePoint& point : curves_[index(channel)].points) {
    const float x = point.x + kMargin;
    const float y = point.y + kMargin;
    NSBezierPath outside;
    outside.appendBezierPathWithRect({{3, 3}, {x - 5, height}});
    if (y == kMargin) {
      outside.appendBezierPathWithRect({{3, 2}, {x - 5, y - 2}});
      outside.appendBezierPathWithRect({{x + 3, 2}, {width - x, y - 2}});
    }
    outside.appendBezierPathWithRect({{3, 2}, {width, y - 4}});
    outside.appendBezierPathWithRect({{3, y + 3}, {width, height - y}});
    outside.appendBezierPathWithRect({{x + 3, 3}, {width - x, height}});
    canvas.addClip(outside);
  }
}

void KelvoTQCurvesView::drawPointBounds(Canvas& canvas) const {
  const std::vector<CurvePoint>& points = curves_[index(activeChannel_)].points;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const bool selected = static_cast<int>(i) == selected_[index(activeChannel_)];
    const NSImageRef& image = selected ? selectedPointImage_ : normalPointImage_;
    if (image == nullptr) continue;
    canvas.compositeToPoint_operation_fraction(image, {points[i].x, points[i].y},
                                               NSCompositingOperation::sourceOver, 1);
  }
}

}  // namespace kelvo
