// What one step of a slider costs: storing, the new recipe, rendering and painting the preview.
// A 60 Hz frame is 16.7 ms.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QKeyEvent>
#include <QStyleFactory>

#include "panel/kelvo_controller.h"
#include "panel/panel.h"
#include "tests/panel/default_parameters.h"

namespace kelvo {
namespace {

struct Drag {
  const char* name;
  int number;
  NSSlider* Ui_KelvoPanel::*slider;
};

// One of each adjustment that has sliders that store.
const Drag kDrags[] = {
    {"color-balance", 3, &KelvoController::colorBalanceCRSlider},
    {"brightness-contrast", 4, &KelvoController::brightnessAndContrastContrastSlider},
    {"hue-saturation", 6, &KelvoController::hueOrSaturationHueSlider},
    {"colorize", 8, &KelvoController::colorizeIntensitySlider},
    {"replace-color", 9, &KelvoController::replaceColorRadiusSlider},
    {"channel-mixer", 10, &KelvoController::channelMixerGreenSlider},
    {"exposure", 11, &KelvoController::exposureSlider},
    {"threshold", 15, &KelvoController::thresholdSlider},
    {"posterize", 16, &KelvoController::posterizeSlider},
};

void show(Panel& panel, int number) {
  panel.parameters()->setObject_forKey(std::to_string(number), "filterPopUp");
  panel.reload();
  panel.resize(panel.sizeHint());
  panel.show();
  QApplication::processEvents();
}

void step(NSSlider& slider, int key) {
  QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
  QApplication::sendEvent(&slider, &press);
}

void dragSlider(benchmark::State& state, const Drag& drag) {
  const auto parameters = testing::defaultParameters();
  Panel panel(parameters, QImage());
  show(panel, drag.number);
  NSSlider& slider = *(panel.controller().*drag.slider);
  for (auto _ : state) {
    step(slider, slider.value() < slider.maximum() ? Qt::Key_Right : Qt::Key_Home);
    panel.controller().afterView->repaint();
  }
  state.SetLabel("540x360 sample");
}

void dragCurvePoint(benchmark::State& state) {
  Panel panel(testing::defaultParameters(), QImage());
  show(panel, 2);
  KelvoController& controller = panel.controller();
  KelvoTQCurvesView& view = controller.curvesView->view();
  view.addPointToCurveAt({90, 100});
  double y = 0;
  for (auto _ : state) {
    y = y < 190 ? y + 1 : 0;
    view.moveSelectedPointInActiveChannelToPosition({90, y});
    controller.curvesView->repaint();  // which sends applyCurves
    controller.afterView->repaint();
  }
  state.SetLabel("540x360 sample");
}

}  // namespace
}  // namespace kelvo

int main(int count, char** arguments) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(count, arguments);
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  benchmark::Initialize(&count, arguments);
  for (const kelvo::Drag& drag : kelvo::kDrags) {
    benchmark::RegisterBenchmark(drag.name, [&drag](benchmark::State& state) {
      kelvo::dragSlider(state, drag);
    })->Unit(benchmark::kMillisecond);
  }
  benchmark::RegisterBenchmark("curves", kelvo::dragCurvePoint)->Unit(benchmark::kMillisecond);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
