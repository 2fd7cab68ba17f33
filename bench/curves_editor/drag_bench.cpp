// How the curves editor keeps up with the pointer: one step of a drag, one painting of the view,
// and a whole drag in the panel with the preview following.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>

#include "panel/kelvo_controller.h"
#include "panel/panel.h"
#include "platform/ui/qt_canvas.h"

namespace kelvo::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kEventsASecond = 1000;
constexpr int kDragEvents = 2000;
// Two frames of a screen that shows 60 a second.
constexpr double kTwoFrames = 2000.0 / 60;

double milliseconds(Clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

// A curve of ten points in each channel.
void useCurves(KelvoTQCurvesView& view) {
  for (int channel = 3; channel >= 0; --channel) {
    view.setActiveChannel(channel);
    for (int i = 1; i < 9; ++i) view.addPointToCurveAt({i * 20.0, i * 20.0 + (i % 2) * 5});
  }
}

NSEvent at(double x, double y) { return {NSEventType::mouseDragged, {x + 3, y + 3}, 0, kKeyOther}; }

void dragStep(benchmark::State& state) {
  KelvoTQCurvesView view;
  useCurves(view);
  view.mouseMoved(at(80, 80));
  view.mouseDown(at(80, 80));
  const auto& point = view.curve(0).points[4];
  int i = 0;
  for (auto _ : state) {
    ++i;
    view.mouseDragged(at(75 + i % 10, 80 + i % 7));
    if (point.y != static_cast<float>(80 + i % 7)) {
      state.SkipWithError("the point does not follow");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(dragStep);

// All four curves, three of them glowing, at one and at two pixels to a unit.
void painting(benchmark::State& state) {
  const int scale = static_cast<int>(state.range(0));
  KelvoTQCurvesView view;
  useCurves(view);
  QImage picture(198 * scale, 198 * scale, QImage::Format_ARGB32_Premultiplied);
  picture.setDevicePixelRatio(scale);
  for (auto _ : state) {
    QPainter painter(&picture);
    QtCanvas canvas(painter, {198, 198}, scale);
    view.drawRect(canvas, view.bounds());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(painting)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// Notes when the preview was painted.
class PaintWatcher : public QObject {
 public:
  int paintings = 0;

 protected:
  bool eventFilter(QObject* /*watched*/, QEvent* event) override {
    if (event->type() == QEvent::Paint) ++paintings;
    return false;
  }
};

QImage sample() {
  QImage picture(480, 320, QImage::Format_RGB32);
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      picture.setPixel(x, y, qRgb(x % 256, y % 256, (x + y) % 256));
    }
  }
  return picture;
}

// 1,000 events a second for two seconds. Counted is how long after an event's time the preview of
// its point, or of a newer one, was on the screen.
void dragInThePanel(benchmark::State& state) {
  auto params = std::make_shared<ParameterDictionary>();
  params->setObject_forKey("2", "filterPopUp");
  Panel panel(params, sample());
  panel.show();
  CurvesWidget& widget = *panel.controller().curvesView;
  useCurves(widget.view());
  PaintWatcher watcher;
  panel.controller().afterView->installEventFilter(&watcher);
  QApplication::processEvents();

  const auto send = [&widget](QEvent::Type type, QPointF place) {
    QMouseEvent event(type, place, widget.mapToGlobal(place), Qt::LeftButton, Qt::LeftButton, {});
    QApplication::sendEvent(&widget, &event);
  };
  double longest = 0;
  double sum = 0;
  int frames = 0;
  for (auto _ : state) {
    send(QEvent::MouseButtonPress, {83, 114});
    const Clock::time_point start = Clock::now();
    int sent = 0;
    int shown = 0;
    while (shown < kDragEvents) {
      const auto dueAt = [&](int event) {
        return start + std::chrono::microseconds(1000000LL * event / kEventsASecond);
      };
      while (sent < kDragEvents && dueAt(sent) <= Clock::now()) {
        send(QEvent::MouseMove, {78.0 + sent % 10, 100.0 + sent % 23});
        ++sent;
      }
      const int before = watcher.paintings;
      QApplication::processEvents();
      if (watcher.paintings == before) {
        QThread::usleep(100);
        continue;
      }
      ++frames;
      for (const Clock::time_point now = Clock::now(); shown < sent; ++shown) {
        const double late = milliseconds(now - dueAt(shown));
        longest = std::max(longest, late);
        sum += late;
      }
    }
    send(QEvent::MouseButtonRelease, {83, 114});
  }
  const auto events = static_cast<double>(state.iterations() * kDragEvents);
  state.counters["mean_ms"] = sum / events;
  state.counters["longest_ms"] = longest;
  state.counters["frames_a_second"] = frames / (events / kEventsASecond);
  state.counters["within_two_frames"] = longest <= kTwoFrames ? 1 : 0;
}
BENCHMARK(dragInThePanel)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvo::bench

int main(int argc, char** argv) {
  if (std::getenv("QT_QPA_PLATFORM") == nullptr) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
