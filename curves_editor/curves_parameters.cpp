#include <cmath>
#include <optional>
#include <string>
#include <string_view>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "platform/foundation/text_format.h"

// How curves are kept in the action parameters: a count, and the points as "x y,x y,…" with six
// decimals.
namespace kelvo {
namespace {

struct ChannelKeys {
  const char* count;
  const char* points;
};
constexpr ChannelKeys kKeys[4] = {
    {"rgbN", "rgbPoints"}, {"rN", "rPoints"}, {"gN", "gPoints"}, {"bN", "bPoints"}};

// Exactly two parts with one blank between them.
std::optional<CurvePoint> parsePoint(std::string_view piece) {
  const std::size_t blank = piece.find(' ');
  if (blank == std::string_view::npos) return std::nullopt;
  if (piece.find(' ', blank + 1) != std::string_view::npos) return std::nullopt;
  const CurvePoint point{floatValue(piece.substr(0, blank)), floatValue(piece.substr(blank + 1))};
  if (!std::isfinite(point.x) || !std::isfinite(point.y)) return std::nullopt;
  return point;
}

// The points among the first `count` pieces that can be read and that go on to the right. None of
// them can leave a curve that runs back or has no slope.
std::vector<CurvePoint> parsePoints(std::string_view text, int count) {
  std::vector<CurvePoint> points;
  for (int piece = 0; piece < count; ++piece) {
    const std::size_t comma = text.find(',');
    const auto point = parsePoint(text.substr(0, comma));
    if (point && (points.empty() || points.back().x < point->x)) points.push_back(*point);
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
  return points;
}

}  // namespace

void KelvoTQCurvesView::saveParameters() const {
  if (!params_) return;
  for (std::size_t channel = 0; channel < curves_.size(); ++channel) {
    std::string text;
    for (const CurvePoint& point : curves_[channel].points) {
      if (!text.empty()) text += ',';
      text += formatF(point.x) + ' ' + formatF(point.y);
    }
    params_->setObject_forKey(std::to_string(curves_[channel].points.size()), kKeys[channel].count);
    params_->setObject_forKey(std::move(text), kKeys[channel].points);
  }
}

void KelvoTQCurvesView::loadParameters() {
  const CurvesState before = state();
  for (std::size_t channel = 0; channel < curves_.size(); ++channel) {
    selected_[channel] = kNoSelection;
    std::vector<CurvePoint> points;
    if (params_) {
      points = parsePoints(params_->stringValue(kKeys[channel].points),
                           params_->intValue(kKeys[channel].count));
    }
    if (points.size() < 2) points = {{0, 0}, {kPlotMaximum, kPlotMaximum}};
    curves_[channel].points = std::move(points);
  }
  for (int channel = 0; channel < 4; ++channel) recalculateCurveValues(channel);
  mousePressed_ = false;
  beforePress_.reset();
  if (state().points != before.points) history_.clear();
  redisplay();
  postChange();
}

}  // namespace kelvo
