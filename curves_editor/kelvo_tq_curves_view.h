#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "curves/tqc_values_calculator.h"
#include "curves_editor/curves_history.h"
#include "curves_editor/curves_transparent_window.h"
#include "curves_editor/value_field.h"
#include "curves_editor/view_host.h"
#include "platform/color/color_world.h"
#include "platform/drawing/canvas.h"
#include "platform/drawing/ns_cursor.h"
#include "platform/drawing/ns_event.h"
#include "platform/drawing/ns_image.h"
#include "platform/foundation/ns_bundle.h"
#include "platform/foundation/parameter_value.h"
#include "platform/foundation/result.h"
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
// bottom left. The view has a margin of 3 units around the plot: view units are plot units plus 3.
// In each channel x strictly ascends; the first and the last point always exist. Requests that make
// no sense are ignored. Channel numbers are 0…3. Not thread-safe.
//
// Edits made with the pointer, the keys, the label fields, by pasting, importing and resetting can
// be undone, one step for each drag; loading other points forgets the steps.
class KelvoTQCurvesView {
 public:
  static constexpr float kPlotMaximum = 191;
  static constexpr float kMargin = 3;
  static constexpr int kNoSelection = -1;

  // Identity curves, no window, no parameters.
  KelvoTQCurvesView();

  // The parameters that points are read from and written to; shared with the panel.
  void setParams(std::shared_ptr<ParameterDictionary> params) { params_ = std::move(params); }
  void setController(CurvesController* controller) { controller_ = controller; }
  void setHost(ViewHost* host) { host_ = host; }
  // Where awakeFromNib finds the pictures of cursors and points; one that is missing is not drawn.
  void setBundle(std::shared_ptr<const NSBundle> bundle) { bundle_ = std::move(bundle); }
  void awakeFromNib();
  // The fields that show the selected point's output and input level; null: none.
  void setLeftLabel(ValueField* label) { leftLabel_ = label; }
  void setBottomLabel(ValueField* label) { bottomLabel_ = label; }

  [[nodiscard]] const NSRect& frame() const { return frame_; }
  void setFrame(const NSRect& frame) { frame_ = frame; }
  [[nodiscard]] NSRect bounds() const { return {{0, 0}, frame_.size}; }

  // Tracks the pointer over the view's bounds, once however often it is asked to.
  void resetCursorRects();
  void reconfigureTrackingRect();

  // Events

  [[nodiscard]] static bool acceptsFirstResponder() { return true; }
  [[nodiscard]] static bool becomeFirstResponder() { return true; }
  [[nodiscard]] static bool acceptsFirstMouse(const NSEvent& /*event*/) { return true; }
  [[nodiscard]] static bool canBecomeKeyView() { return true; }
  void mouseDown(const NSEvent& event);
  void mouseDragged(const NSEvent& event);
  void mouseUp(const NSEvent& event);
  void mouseMoved(const NSEvent& event);
  void mouseEntered(const NSEvent& event);
  void mouseExited(const NSEvent& event);
  // Delete takes out the selected point, arrows move it (by ten with Shift), Tab selects the next
  // and with Shift the previous point, Escape none; with Command Z undoes, Shift-Z and Y redo, C
  // copies and V pastes a curve. Every other key, and those that find nothing to do here, go to the
  // window.
  void keyDown(const NSEvent& event);
  // Whether that would do anything here.
  [[nodiscard]] bool takesKey(const NSEvent& event) const;
  // What a press at this place (in plot units) would do, and the cursor that shows it. In the
  // margin around the plot (`pseudo`) both stay as they are, but beside the end points.
  void updateCursorStateForInsidePoint_isPseudoOutside(NSPoint p, bool pseudo);

  // A window over the view's own in which labels can stand outside of it. Nothing shows it unasked.
  void setupTransparentWindow();
  void hideTransparentWindow();
  [[nodiscard]] const std::shared_ptr<CurvesTransparentWindow>& transparentWindow() const {
    return transparentWindow_;
  }

  // Drawing

  // Paints all of the view. Each curve that is drawn tells the controller, which thus always shows
  // what the points drawn do.
  void drawRect(Canvas& canvas, const NSRect& dirty);
  void drawHistogram(Canvas& canvas) const;
  void drawGrid(Canvas& canvas) const;
  void drawFrames(Canvas& canvas) const;
  void drawGuide(Canvas& canvas) const;
  void drawCurves(Canvas& canvas);
  void drawCurveForChannel(Canvas& canvas, int channel);
  void drawPointBounds(Canvas& canvas) const;
  void drawLabels();
  [[nodiscard]] NSBezierPath getFullCurveBezierPathForChannel(int channel) const;
  void fillBezierControlPointsForChannel(int channel);

  // The actions of the two label fields: the selected point's input or output level, 0…255.
  void bottomLabelAction(const ValueField& sender);
  void leftLabelAction(const ValueField& sender);
  // A label with a level on it: type 0 for the output, 1 for the input; none for other types.
  [[nodiscard]] NSImageRef labelImageForValue_ofType(float value, int type) const;

  // Makes the backdrop, one histogram a channel, from the picture; an empty one, or one that cannot
  // be measured, takes the backdrop away. Asks for no redisplay: drawing tells the controller,
  // which may well come here.
  void setCIImageForH(const CIImageRef& image);
  // One row of pixels of alpha, red, green and blue, a byte each, seen as a bitmap.
  static CMBitmap getCMBitmapFromPixels_width(std::span<std::uint8_t> pixels, std::size_t width);

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
  // The cursors made by awakeFromNib; empty before.
  [[nodiscard]] const NSCursorRef& mainViewCursor() const { return curvesCursors_[0]; }
  [[nodiscard]] const NSCursorRef& addPointCursor() const { return curvesCursors_[1]; }
  [[nodiscard]] const NSCursorRef& movePointCursor() const { return curvesCursors_[2]; }
  [[nodiscard]] NSPoint controlPoint() const { return controlPoint_; }
  [[nodiscard]] bool needToDrawGuide() const { return needToDrawGuide_; }
  [[nodiscard]] bool dontNeedToMove() const { return dontNeedToMove_; }
  [[nodiscard]] bool mouseInsideView() const { return mouseInsideView_; }
  [[nodiscard]] bool isMousePressed() const { return mousePressed_; }

  // Editing beyond the pointer

  [[nodiscard]] bool canUndo() const { return history_.canUndo() && !mousePressed_; }
  [[nodiscard]] bool canRedo() const { return history_.canRedo() && !mousePressed_; }
  void undo();
  void redo();
  // The active channel's points, for any channel.
  void copyCurve() { copiedCurve_ = curves_[index(activeChannel_)].points; }
  [[nodiscard]] bool canPasteCurve() const { return !copiedCurve_.empty() && !mousePressed_; }
  void pasteCurve();
  // Replaces all four curves by those of an .acv file; a channel that it has no curve for becomes
  // the identity. Errors name the file; the curves are then as they were.
  Result<void> importCurves(const std::string& path);

 private:
  // What is drawn of a channel: its spline as cubics, four for each segment, each as start, two
  // control points and end; and the rounded curve at 0…255. All in view units.
  struct CurveOutline {
    std::vector<std::array<NSPoint, 4>> bezierPoints;
    std::array<NSPoint, 256> curvePoints{};
  };

  static std::size_t index(int channel) { return static_cast<std::size_t>(channel); }
  ToneCurve& active() { return curves_[index(activeChannel_)]; }
  int& activeSelection() { return selected_[index(activeChannel_)]; }
  // Neither the first nor the last point of the active channel, and one that exists.
  [[nodiscard]] bool isInterior(int at) const;
  void insertIntoActive(int at, NSPoint point);
  void removeFromActive(int at);
  void restoreRemovedPoint(NSPoint pointer, NSPoint at);
  [[nodiscard]] std::optional<CurvePoint> selectedPoint() const;
  [[nodiscard]] std::optional<std::string> pathForImage(const char* name) const;
  [[nodiscard]] NSImageRef imageNamed(const char* name) const;
  void redisplay();
  void display();
  void pushCursor(const NSCursorRef& cursor);
  [[nodiscard]] NSCursorRef currentCursor() const;
  [[nodiscard]] bool isCurvesCursor(const NSCursorRef& cursor) const;
  void popCursors();
  [[nodiscard]] NSPoint locationInView(const NSEvent& event) const;
  void postChange() const;

  // Runs an edit as one step of the history; within a press, the press is the step.
  template <typename Edit>
  void asOneStep(const Edit& edit);
  [[nodiscard]] CurvesState state() const;
  void restore(const std::optional<CurvesState>& state);
  void replaceCurves(const CurvesState& replacement);
  // The point after or before the selected one, from none the first or last.
  [[nodiscard]] std::optional<int> neighbouringPoint(bool next) const;
  void moveSelectedPointBy(float dx, float dy);
  void moveSelectedPointByField(NSPoint to);
  bool swallowsLabelAction();
  void clipAroundPoints(Canvas& canvas, int channel) const;

  std::array<ToneCurve, 4> curves_;
  std::array<std::vector<CurvePoint>, 4> calculated_;  // the points whose values are known
  std::array<CurveOutline, 4> outlines_;
  std::array<int, 4> selected_{};
  std::array<float, 4> checksums_{};
  int activeChannel_ = 0;
  bool isTemporalyRemoved_ = false;
  int temporalyRemovedIndex_ = kNoSelection;

  MouseDownAction mouseDownAction_ = MouseDownAction::none;
  int promisedIndexToSelect_ = kNoSelection;
  bool mousePressed_ = false;            // from a press to its release
  bool mousePressedWithAction_ = false;  // the same, of a press that found something to do
  NSPoint controlPoint_;                 // the latest press or drag, in view units
  bool needToDrawGuide_ = false;
  bool dontNeedToMove_ = false;  // the next action of a label field comes from its losing focus
  bool mouseInsideView_ = false;
  std::optional<int> trackingRectID_;
  std::array<NSCursorRef, 3> curvesCursors_;  // main, add, move
  std::shared_ptr<CurvesTransparentWindow> transparentWindow_;
  std::shared_ptr<NSImageView> leftLabelImageView_;
  std::shared_ptr<NSImageView> bottomLabelImageView_;

  NSRect frame_{{0, 0}, {198, 198}};
  NSImageRef normalPointImage_;
  NSImageRef selectedPointImage_;
  TextAttributes labelAttributes_;
  NSImageRef rgbHistogramImage_;
  NSImageRef redHistogramImage_;
  NSImageRef greenHistogramImage_;
  NSImageRef blueHistogramImage_;
  ValueField* leftLabel_ = nullptr;
  ValueField* bottomLabel_ = nullptr;

  CurvesHistory history_;
  std::optional<CurvesState> beforePress_;
  std::vector<CurvePoint> copiedCurve_;

  std::shared_ptr<ParameterDictionary> params_;
  std::shared_ptr<const NSBundle> bundle_;
  CurvesController* controller_ = nullptr;
  ViewHost* host_ = nullptr;
};

template <typename Edit>
void KelvoTQCurvesView::asOneStep(const Edit& edit) {
  if (mousePressed_) return edit();
  const CurvesState before = state();
  edit();
  history_.record(before, state());
}

}  // namespace kelvo
