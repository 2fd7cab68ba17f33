#include "curves_editor/curves_history.h"

#include <utility>

namespace kelvo {
namespace {

std::optional<CurvesState> step(std::vector<CurvesState>& from, std::vector<CurvesState>& to,
                                CurvesState now) {
  if (from.empty()) return std::nullopt;
  to.push_back(std::move(now));
  CurvesState state = std::move(from.back());
  from.pop_back();
  return state;
}

}  // namespace

void CurvesHistory::record(CurvesState before, const CurvesState& now) {
  if (before.points == now.points) return;
  redo_.clear();
  if (undo_.size() == kSteps) undo_.erase(undo_.begin());
  undo_.push_back(std::move(before));
}

void CurvesHistory::clear() {
  undo_.clear();
  redo_.clear();
}

std::optional<CurvesState> CurvesHistory::undo(CurvesState now) {
  return step(undo_, redo_, std::move(now));
}

std::optional<CurvesState> CurvesHistory::redo(CurvesState now) {
  return step(redo_, undo_, std::move(now));
}

}  // namespace kelvo
