#pragma once

#include <memory>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "platform/foundation/parameter_value.h"

namespace kelvo {

// The curves object of the Curves adjustment: the panel's view once a panel has woken, else one
// without a window that loadCurves made. Lives for the process.
extern std::shared_ptr<KelvoTQCurvesView> curves;

// Makes sure that there is a curves object and has it read its points from the parameters it holds:
// those given here if it is made now, else those it got earlier.
void loadCurves(const ActionParameters& parameters);

}  // namespace kelvo
