// Curves: the points live in the curves view; the panel keeps which channel is edited.

#include "panel/kelvo_controller.h"

namespace kelvo {
namespace {

constexpr int kChannels = 4;

}  // namespace

void KelvoController::updateCurves() {
  int channel = params->intValue("curvesChannel");
  if (channel < 0 || channel >= kChannels) channel = 0;
  editor().setActiveChannel(channel);
  curvesChannel->selectCellAtRow_column(channel, 0);
  applyCurves(nullptr);
}

void KelvoController::resetCurves(QObject* /*sender*/) {
  storeDefaults(FilterNumber::curves);
  editor().resetCurves();
  updateCurves();
}

void KelvoController::applyCurves(QObject* /*sender*/) {
  editor().saveParameters();
  showPreview();
}

void KelvoController::curvesChannelChanged(QObject* /*sender*/) {
  store("curvesChannel", std::to_string(curvesChannel->selectedRow()));
  updateCurves();
}

void KelvoController::curvesHistogramChanged(QObject* /*sender*/) {
  editor().setCIImageForH(curvesHistogram->isChecked() ? beforeImage : nullptr);
  curvesView->update();
}

}  // namespace kelvo
