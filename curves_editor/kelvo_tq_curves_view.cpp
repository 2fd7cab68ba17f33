#include "curves_editor/kelvo_tq_curves_view.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/ns_notification_center.h"

namespace kelvo {

const char* const kCurvesValuesChangedNotification = "TQCurvesValuesChanged";

namespace {

constexpr int kChannels = 4;

}  // namespace

KelvoTQCurvesView::KelvoTQCurvesView() {
  selected_.fill(kNoSelection);
  for (int channel = 0; channel < kChannels; ++channel) {
    curves_[index(channel)].points = {{0, 0}, {kPlotMaximum, kPlotMaximum}};
    recalculateCurveValues(channel);
  }
}

void KelvoTQCurvesView::setActiveChannel(int channel) {
  if (channel == activeChannel_) return;
  activeChannel_ = channel;
  redisplay();
}

void KelvoTQCurvesView::resetCurves() {
  CurvesState before = beforePress_ ? std::move(*beforePress_) : state();
  beforePress_.reset();
  for (int channel = 0; channel < kChannels; ++channel) {
    curves_[index(channel)].points = {{0, 0}, {kPlotMaximum, kPlotMaximum}};
    selected_[index(channel)] = kNoSelection;
  }
  for (int channel = 0; channel < kChannels; ++channel) recalculateCurveValues(channel);
  mousePressed_ = false;
  history_.record(std::move(before), state());
  redisplay();
  postChange();
}

void KelvoTQCurvesView::recalculateCurveValues(int channel) {
  if (channel < 0 || channel >= kChannels) return;
  ToneCurve& c = curves_[index(channel)];
  std::vector<CurvePoint>& calculated = calculated_[index(channel)];
  if (c.points == calculated) return;
  calculated = c.points;
  recalculateCurve(c);
  fillBezierControlPointsForChannel(channel);
  auto& curvePoints = outlines_[index(channel)].curvePoints;
  for (std::size_t i = 0; i < curvePoints.size(); ++i) {
    curvePoints[i] = {static_cast<double>(i) + kMargin, c.cache[i] + double{kMargin}};
  }
  float checksum = 0;
  for (const CurvePoint& point : c.points) checksum = point.x + point.y + checksum;
  checksums_[index(channel)] = checksum;
}

float KelvoTQCurvesView::checksumForChannel(int channel) const {
  return checksums_[channel >= 1 && channel < kChannels ? index(channel) : 0];
}

bool KelvoTQCurvesView::needToDrawCurveForChannel(int channel) const {
  if (channel < 1 || channel >= kChannels) return true;
  return !std::ranges::all_of(curves_[index(channel)].points,
                              [](const CurvePoint& point) { return point.x == point.y; });
}

CIImageRef KelvoTQCurvesView::curvesValuesImageForColorSpace_forOKAction(
    const CGColorSpaceRef& colorSpace, bool /*forOKAction*/) const {
  RampPixels ramp = rampPixels(curves_);
  // From the top down, so that no column is overwritten that is still to be read.
  for (std::size_t k = 64; k-- > 0;) {
    const std::array<float, 4> group[3] = {ramp[3 * k], ramp[3 * k + 1], ramp[3 * k + 2]};
    constexpr std::size_t kSpread[4] = {0, 1, 1, 2};
    for (std::size_t i = 0; i < 4; ++i) {
      const std::array<float, 4>& from = group[kSpread[i]];
      for (std::size_t c = 0; c < 3; ++c) ramp[4 * k + i][c] = from[c] * 4.0F / 3.0F;
      ramp[4 * k + i][3] = from[3];
    }
  }
  return rampImage(ramp, colorSpace);
}

void KelvoTQCurvesView::redisplay() {
  if (host_ != nullptr) host_->setNeedsDisplay();
}

void KelvoTQCurvesView::display() {
  if (host_ != nullptr) host_->display();
}

void KelvoTQCurvesView::postChange() const {
  NSNotificationCenter::defaultCenter().postNotificationName_object(
      kCurvesValuesChangedNotification, this);
}

}  // namespace kelvo
