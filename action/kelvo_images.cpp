#include "action/kelvo_images.h"

#include "action/apply_filter_for_files.h"
#include "action/load_curves.h"
#include "engine/filter_globals.h"
#include "platform/foundation/ns_log.h"

namespace kelvo {

void Kelvo_Images::opened() {
  if (control_ != nullptr) control_->awakeFromNib();
  registerAdjustmentFilters();
  loadCurves(sharedParameters());
}

WorkflowValue Kelvo_Images::runWithInput_fromAction_error(const WorkflowValue& input,
                                                          AMBundleAction* /*fromAction*/,
                                                          WorkflowError* /*error*/) {
  const auto* paths = std::get_if<PathList>(&input);
  if (paths == nullptr) {
    NSLog("Error: Unknown datatype");
    return input;
  }
  // A host may run an action that was never opened.
  registerAdjustmentFilters();
  return applyFilterForFiles(sharedParameters(), *paths, runOptions());
}

}  // namespace kelvo
