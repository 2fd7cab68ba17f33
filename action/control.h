#pragma once

#include "platform/workflow/am_workflow_controller.h"

namespace kelvo {

// The controller of the settings panel, from its first waking until it goes; not owned.
extern AMWorkflowController* control;

}  // namespace kelvo
