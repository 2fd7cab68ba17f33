#include <array>
#include <cstddef>
#include <span>

#include "curves_editor/acv_file.h"
#include "curves_editor/kelvo_tq_curves_view.h"
#include "platform/foundation/file_text.h"

// Whole curves: undone, pasted, imported.
namespace kelvo {

CurvesState KelvoTQCurvesView::state() const {
  CurvesState now;
  for (std::size_t channel = 0; channel < curves_.size(); ++channel) {
    now.points[channel] = curves_[channel].points;
  }
  now.selected = selected_;
  return now;
}

// A press before the pointer has moved must not act on points that are not there any more.
void KelvoTQCurvesView::replaceCurves(const CurvesState& replacement) {
  for (std::size_t channel = 0; channel < curves_.size(); ++channel) {
    curves_[channel].points = replacement.points[channel];
  }
  selected_ = replacement.selected;
  for (int channel = 0; channel < 4; ++channel) recalculateCurveValues(channel);
  mouseDownAction_ = MouseDownAction::none;
  promisedIndexToSelect_ = kNoSelection;
  if (isCurvesCursor(currentCursor())) pushCursor(mainViewCursor());
  redisplay();
  postChange();
}

void KelvoTQCurvesView::restore(const std::optional<CurvesState>& state) {
  if (state) replaceCurves(*state);
}

void KelvoTQCurvesView::undo() {
  if (canUndo()) restore(history_.undo(state()));
}

void KelvoTQCurvesView::redo() {
  if (canRedo()) restore(history_.redo(state()));
}

void KelvoTQCurvesView::pasteCurve() {
  if (!canPasteCurve()) return;
  CurvesState pasted = state();
  pasted.points[index(activeChannel_)] = copiedCurve_;
  pasted.selected[index(activeChannel_)] = kNoSelection;
  asOneStep([&] { replaceCurves(pasted); });
}

Result<void> KelvoTQCurvesView::importCurves(const std::string& path) {
  const auto text = readTextFile(path);
  if (!text) return Error{path + ": " + text.error().message};
  const auto curves = parseAcv(std::as_bytes(std::span(*text)));
  if (!curves) return Error{path + ": " + curves.error().message};
  CurvesState imported;
  imported.selected.fill(kNoSelection);
  for (std::size_t channel = 0; channel < curves_.size(); ++channel) {
    std::vector<CurvePoint>& points = imported.points[channel];
    points = {{0, 0}, {kPlotMaximum, kPlotMaximum}};
    if (channel >= curves->size()) continue;
    points.clear();
    for (const AcvPoint& point : (*curves)[channel]) {
      points.push_back({static_cast<float>(point.input) * kPlotMaximum / 255,
                        static_cast<float>(point.output) * kPlotMaximum / 255});
    }
  }
  asOneStep([&] { replaceCurves(imported); });
  return {};
}

}  // namespace kelvo
