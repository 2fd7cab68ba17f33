#include "action/load_curves.h"

namespace kelvo {

std::shared_ptr<KelvoTQCurvesView> curves;

void loadCurves(const ActionParameters& parameters) {
  if (!curves) {
    curves = std::make_shared<KelvoTQCurvesView>();
    curves->resetCurves();
    curves->reconfigureTrackingRect();
    curves->setController(nullptr);
    curves->setParams(parameters);
  }
  curves->loadParameters();
}

}  // namespace kelvo
