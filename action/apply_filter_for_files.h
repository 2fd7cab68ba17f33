#pragma once

#include "platform/foundation/parameter_value.h"
#include "platform/workflow/am_bundle_action.h"

namespace kelvo {

// Adjusts every frame of every file and rewrites each file in place, in its own format, whole or
// not at all. Returns the paths of the files that were rewritten, in input order. A file that
// cannot be rewritten is logged in one of the fixed texts, with the cause beside it, and left as it
// was; the run goes on with the next.
PathList applyFilterForFiles(const ActionParameters& parameters, const PathList& paths,
                             const RunOptions& options = {});

}  // namespace kelvo
