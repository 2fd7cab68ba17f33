#pragma once

#include <array>
#include <optional>
#include <vector>

#include "curves/curve_spline.h"

namespace kelvo {

// The points of all four channels and which of each is selected.
struct CurvesState {
  std::array<std::vector<CurvePoint>, 4> points;
  std::array<int, 4> selected{};
};

// The curves before and after each edit, for undo and redo. Edits that leave all points as they
// were are no steps. Keeps the latest kSteps steps.
class CurvesHistory {
 public:
  static constexpr std::size_t kSteps = 1000;

  void record(CurvesState before, const CurvesState& now);
  void clear();

  [[nodiscard]] bool canUndo() const { return !undo_.empty(); }
  [[nodiscard]] bool canRedo() const { return !redo_.empty(); }
  // The state to go back or forth to; none if there is no step. `now` is what to come back to.
  std::optional<CurvesState> undo(CurvesState now);
  std::optional<CurvesState> redo(CurvesState now);

 private:
  std::vector<CurvesState> undo_;
  std::vector<CurvesState> redo_;
};

}  // namespace kelvo
