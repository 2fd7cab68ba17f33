#pragma once

#include <QObject>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "action/filter_number.h"
#include "curves_editor/kelvo_tq_curves_view.h"
#include "panel/setting_controls.h"
#include "panel/ui_panel.h"
#include "platform/image/ci_image.h"
#include "platform/workflow/am_bundle_action.h"
#include "platform/workflow/am_workflow_controller.h"

namespace kelvo {

// Between the pictures and the settings, in view units.
extern int spaceBetweenImageAndBox;

// The settings panel's controller: keeps the action parameters and the controls in step, both ways,
// and the preview with them. Its outlets are the widgets of resources/panel.ui by their names.
//
// Every adjustment has three methods. update…: parameters to controls, then the preview. reset…:
// defaults to the parameters, then update. apply…(sender): if the sender is of a kind that stores,
// controls to parameters, then update; else the preview alone. Main thread only; one at a time in a
// process, because the curves object is the process's.
class KelvoController : public QObject,
                        public AMWorkflowController,
                        public CurvesController,
                        public Ui::KelvoPanel {
  Q_OBJECT

 public:
  // Loads the layout into `panel` and connects it. `panel` outlives the controller.
  explicit KelvoController(QWidget& panel);
  ~KelvoController() override;

  // Before it: the parameters have their content, the after view its sample picture. Runs once.
  void awakeFromNib() override;
  // Shows the stored adjustment with its stored values.
  void updateIt();
  void selectIndex(int index);
  // Applies the adjustment of a number as if the shadows slider had been moved.
  void applyFilterByNumber(int number);
  // The parameters were changed by somebody else: shows them, without parametersChanged.
  void reload();

  void updateLevels();
  void updateAuto();
  void updateCurves();
  void updateColorBalance();
  void updateBrightnessAndContrast();
  void updateHueOrSaturation();
  void updateDesaturate();
  void updateColorize();
  void updateReplaceColor();
  void updateChannelMixer();
  void updateExposure();
  void updateInvert();
  void updateEqualize();
  void updateThreshold();
  void updatePosterize();

  // What the curves view sends whenever it draws a curve.
  void applyCurves() override { applyCurves(nullptr); }

  AMBundleAction* action = nullptr;  // whose panel it is, if anybody's; read by nobody here
  QWidget* view;
  ActionParameters params;
  CIImageRef beforeImage;
  // The length of the range between shadows and highlights, and the place of the midtones in it.
  double levelsProportion = 0;
  double levelsLength = 0;
  bool awaken = false;

 public slots:
  void resetLevels(QObject* sender);
  void resetAuto(QObject* sender);
  void resetCurves(QObject* sender);
  void resetColorBalance(QObject* sender);
  void resetBrightnessAndContrast(QObject* sender);
  void resetHueOrSaturation(QObject* sender);
  void resetDesaturate(QObject* sender);
  void resetColorize(QObject* sender);
  void resetReplaceColor(QObject* sender);
  void resetChannelMixer(QObject* sender);
  void resetExposure(QObject* sender);
  void resetInvert(QObject* sender);
  void resetEqualize(QObject* sender);
  void resetThreshold(QObject* sender);
  void resetPosterize(QObject* sender);

  void applyLevels(QObject* sender);
  void applyAuto(QObject* sender);
  void applyCurves(QObject* sender);
  void applyColorBalance(QObject* sender);
  void applyBrightnessAndContrast(QObject* sender);
  void applyHueOrSaturation(QObject* sender);
  void applyDesaturate(QObject* sender);
  void applyColorize(QObject* sender);
  void applyReplaceColor(QObject* sender);
  void applyChannelMixer(QObject* sender);
  void applyExposure(QObject* sender);
  void applyInvert(QObject* sender);
  void applyEqualize(QObject* sender);
  void applyThreshold(QObject* sender);
  void applyPosterize(QObject* sender);

  void levelsShadowsChanged(QObject* sender);
  void levelsMidtonesChanged(QObject* sender);
  void levelsHighlightsChanged(QObject* sender);
  void curvesChannelChanged(QObject* sender);
  void colorBalanceNewBalance(QObject* sender);
  void channelMixerNewChannel(QObject* sender);

  // Another adjustment was chosen in the pop-up: shows it with its stored settings.
  void filterPopUpChanged(QObject* sender);
  void curvesHistogramChanged(QObject* sender);
  // A number field's text was confirmed: hands the number over to its slider.
  void controlTextDidEndEditing(kelvo::KelvoTextField* field);

 signals:
  // A setting was stored that differs from what was there. May come while the panel is painted.
  void parametersChanged();

 private:
  struct Methods {
    void (KelvoController::*update)() = nullptr;
    void (KelvoController::*apply)(QObject*) = nullptr;
  };
  // Null for numbers that select nothing.
  static const Methods* methodsOf(int number);

  void store(std::string_view key, std::string text);
  [[nodiscard]] double stored(std::string_view key) const { return params->doubleValue(key); }
  // `keyPrefix` goes before each control's key; `unit` after each number.
  void showSettings(std::span<const SettingControl> controls, std::string_view keyPrefix = {},
                    const char* unit = "");
  void storeSettings(std::span<const SettingControl> controls, std::string_view keyPrefix = {});
  void showColor(NSColorWell& well, std::string_view keyPrefix);
  void storeColor(const NSColorWell& well, std::string_view keyPrefix);
  // The adjustment's number and its defaults into the parameters, its tab to the front.
  void storeDefaults(FilterNumber number);
  // Joins one-cell matrices into a radio group: the sender's cell is on, the others are off.
  // Returns the number of the one that is on.
  int chooseInGroup(std::span<NSMatrix* const> group, QObject* sender);
  void showPreview();
  [[nodiscard]] KelvoTQCurvesView& editor() const { return curvesView->view(); }

  ParameterDictionary seen_;  // as they were when parametersChanged was last considered
};

}  // namespace kelvo
