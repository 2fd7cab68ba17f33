#pragma once

#include "platform/workflow/am_bundle_action.h"
#include "platform/workflow/am_workflow_controller.h"

namespace kelvo {

// The action's principal class: adjusts the colour and tone of image files.
class Kelvo_Images final : public AMBundleAction {
 public:
  // Wakes the panel's controller if there is one, makes the filters known before the first run, and
  // has the curves object read its points.
  void opened() override;

  // Connected when the panel's layout is loaded; not owned.
  void setControl(AMWorkflowController* controller) { control_ = controller; }

  // A list of paths gives the list of those that were rewritten. Any other input is handed back,
  // with "Error: Unknown datatype" logged. `error` is never set.
  WorkflowValue runWithInput_fromAction_error(const WorkflowValue& input,
                                              AMBundleAction* fromAction,
                                              WorkflowError* error) override;

 private:
  AMWorkflowController* control_ = nullptr;
};

}  // namespace kelvo
