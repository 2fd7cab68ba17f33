#pragma once

#include <array>
#include <memory>
#include <vector>

#include "curves/tqc_values_calculator.h"
#include "curves_editor/view_host.h"
#include "platform/foundation/parameter_value.h"
#include "platform/image/ci_image.h"

namespace kelvo {

extern const char* const kCurvesValuesChangedNotification;  // "TQCurvesValuesChanged"

// What a press of the pointer will do.
enum class MouseDownAction : int { none = 0, addPoint = 1, movePoint = 2 };

// The panel's side of the curves view.
class CurvesController {
 public:
  virtual ~CurvesController() = default;
  virtual void applyCurves() = 0;
};

// The tone curves of the Curves adjustment: four independent sets of points (0 RGB master, 1 red,
// 2 green, 3 blue), the operations that edit them, and the ramp image they make. Works the same
// with and without a window.
//
// Points are in plot units: x the input and y the output level, both 0…191, the origin at the
// bottom left. In each channel x strictly ascends; the first and the last point always exist.
// Requests that make no sense are ignored. Channel numbers are 0…3. Not thread-safe.
class KelvoTQCurvesView {
 public:
  static constexpr float kPlotMaximum = 191;
  static constexpr int kNoSelection = -1;

  // Identity curves, no window, no parameters.
  KelvoTQCurvesView();

  // The parameters that points are read from and written to; shared with the panel.
  void setParams(std::shared_ptr<ParameterDictionary> params) { params_ = std::move(params); }
  void setController(CurvesController* controller) { controller_ = controller; }
  void setHost(ViewHost* host) { host_ = host; }
  void reconfigureTrackingRect();

  void setActiveChannel(int channel);
  [[nodiscard]] int activeChannel() const { return activeChannel_; }

  // Every channel back to (0, 0) and (191, 191). Posts the notification.
  void resetCurves();

  // Reads all four channels. Points beyond the count are ignored; points without a text of their
  // own are left out; a channel that does not end up with at least two points in ascending x
  // becomes the identity. Posts the notification.
  void loadParameters();
  void saveParameters() const;

  // Inserts a point into the active channel between two existing ones and selects it.
  void addPointToCurveAt(NSPoint q);
  // One step of dragging the selected point: it keeps 4 units from its neighbours; an interior
  // point dragged further is taken out until the pointer is back between them.
  void moveSelectedPointInActiveChannelToPosition(NSPoint p);
  void removeSelectedPoint();
  void temporalyRemovePointFromActiveChannelAtIndex(int index);
  void putBackTemporalyRemovedPoint(NSPoint p);
  void selectPromisedPointInActiveChannelAndDelete();
  void selectPromisedPointInActiveChannelAndMooveToPoint(NSPoint q);

  void recalculateCurveValues(int channel);
  [[nodiscard]] float checksumForChannel(int channel) const;
  [[nodiscard]] bool needToDrawCurveForChannel(int channel) const;

  // 256 x 1: the colour channel's curve, then the master's, divided by 256; the 192 plot levels
  // spread over the 256 columns, every middle one of a group of three twice.
  [[nodiscard]] CIImageRef curvesValuesImageForColorSpace_forOKAction(
      const CGColorSpaceRef& colorSpace, bool forOKAction) const;

  [[nodiscard]] const ToneCurve& curve(int channel) const { return curves_[index(channel)]; }
  [[nodiscard]] int selectedIndex(int channel) const { return selected_[index(channel)]; }
  void setSelectedIndex(int channel, int selected) { selected_[index(channel)] = selected; }

  // Pointer state that the editing operations share with the handling of events.
  [[nodiscard]] MouseDownAction mouseDownAction() const { return mouseDownAction_; }
  void setMouseDownAction(MouseDownAction action) { mouseDownAction_ = action; }
  [[nodiscard]] int promisedIndexToSelect() const { return promisedIndexToSelect_; }
  void setPromisedIndexToSelect(int promised) { promisedIndexToSelect_ = promised; }
  [[nodiscard]] bool isTemporalyRemoved() const { return isTemporalyRemoved_; }
  [[nodiscard]] int temporalyRemovedIndex() const { return temporalyRemovedIndex_; }
  // The end of a drag: a point that is out stays out.
  void endTemporalRemoval();

 private:
  static std::size_t index(int channel) { return static_cast<std::size_t>(channel); }
  ToneCurve& active() { return curves_[index(activeChannel_)]; }
  int& activeSelection() { return selected_[index(activeChannel_)]; }
  // Neither the first nor the last point of the active channel, and one that exists.
  [[nodiscard]] bool isInterior(int at) const;
  void insertIntoActive(int at, NSPoint point);
  void removeFromActive(int at);
  void restoreRemovedPoint(NSPoint pointer, NSPoint at);
  void redisplay();
  void pushCursor(CurvesCursor cursor);
  void postChange() const;

  std::array<ToneCurve, 4> curves_;
  std::array<int, 4> selected_{};
  std::array<float, 4> checksums_{};
  int activeChannel_ = 0;
  bool isTemporalyRemoved_ = false;
  int temporalyRemovedIndex_ = kNoSelection;
  MouseDownAction mouseDownAction_ = MouseDownAction::none;
  int promisedIndexToSelect_ = kNoSelection;
  bool mousePressed_ = false;
  std::shared_ptr<ParameterDictionary> params_;
  CurvesController* controller_ = nullptr;
  ViewHost* host_ = nullptr;
};

}  // namespace kelvo
