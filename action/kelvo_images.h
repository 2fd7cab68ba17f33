#pragma once

#include "platform/workflow/am_bundle_action.h"

namespace kelvo {

// The action's principal class: adjusts the colour and tone of image files.
class Kelvo_Images final : public AMBundleAction {
 public:
  // Makes the filters known before the first run and the curves object read its points.
  void opened() override;

  // A list of paths gives the list of those that were rewritten. Any other input is handed back,
  // with "Error: Unknown datatype" logged. `error` is never set.
  WorkflowValue runWithInput_fromAction_error(const WorkflowValue& input,
                                              AMBundleAction* fromAction,
                                              WorkflowError* error) override;
};

}  // namespace kelvo
