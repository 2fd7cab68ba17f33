#pragma once

#include <string>
#include <utility>
#include <vector>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "curves_editor/view_host.h"
#include "platform/foundation/ns_notification_center.h"

namespace kelvo::testing {

// Writes down, in order, what a view asks of its window and what it announces. Lives longer than
// the view's last operation.
class RecordingHost final : public ViewHost {
 public:
  explicit RecordingHost(KelvoTQCurvesView& view)
      : token_(NSNotificationCenter::defaultCenter().addObserverForName_object(
            "TQCurvesValuesChanged", &view,
            [this](const NSNotification&) { calls_.emplace_back("changed"); })) {
    view.setHost(this);
  }

  void setNeedsDisplay() override { calls_.emplace_back("redisplay"); }
  void pushCursor(CurvesCursor cursor) override {
    calls_.emplace_back(cursor == CurvesCursor::main       ? "main cursor"
                        : cursor == CurvesCursor::addPoint ? "add cursor"
                                                           : "move cursor");
  }
  void resetTrackingRect() override { calls_.emplace_back("tracking"); }

  // What happened since it was asked last.
  std::vector<std::string> takeCalls() { return std::exchange(calls_, {}); }

 private:
  std::vector<std::string> calls_;
  NSNotificationCenter::Token token_;
};

using Calls = std::vector<std::string>;
using CurvePoints = std::vector<CurvePoint>;

}  // namespace kelvo::testing
