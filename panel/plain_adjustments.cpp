// Auto, Desaturate, Invert, Equalize: nothing to set, nothing to store.

#include "panel/kelvo_controller.h"

namespace kelvo {

void KelvoController::updateAuto() { applyAuto(nullptr); }
void KelvoController::applyAuto(QObject* /*sender*/) { showPreview(); }
void KelvoController::resetAuto(QObject* /*sender*/) {
  storeDefaults(FilterNumber::automatic);
  updateAuto();
}

void KelvoController::updateDesaturate() { applyDesaturate(nullptr); }
void KelvoController::applyDesaturate(QObject* /*sender*/) { showPreview(); }
void KelvoController::resetDesaturate(QObject* /*sender*/) {
  storeDefaults(FilterNumber::desaturate);
  updateDesaturate();
}

void KelvoController::updateInvert() { applyInvert(nullptr); }
void KelvoController::applyInvert(QObject* /*sender*/) { showPreview(); }
void KelvoController::resetInvert(QObject* /*sender*/) {
  storeDefaults(FilterNumber::invert);
  updateInvert();
}

void KelvoController::updateEqualize() { applyEqualize(nullptr); }
void KelvoController::applyEqualize(QObject* /*sender*/) { showPreview(); }
void KelvoController::resetEqualize(QObject* /*sender*/) {
  storeDefaults(FilterNumber::equalize);
  updateEqualize();
}

}  // namespace kelvo
