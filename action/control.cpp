#include "action/control.h"

namespace kelvo {

AMWorkflowController* control = nullptr;

}  // namespace kelvo
