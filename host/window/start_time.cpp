#include "host/window/start_time.h"

#include <time.h>
#include <unistd.h>

#include <QEvent>
#include <QTimer>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace kelvo::window {
namespace {

// Since the start of the process, in seconds.
double age() {
  std::ifstream file("/proc/self/stat");
  std::string text;
  std::getline(file, text);
  // The second field, the name, may contain anything, so that fields are counted from its end.
  std::istringstream fields(text.substr(text.rfind(')') + 1));
  std::string field;
  for (int i = 3; i <= 22; ++i) {
    fields >> field;  // the 22nd is the start, in ticks since the machine's
  }
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9 -
         std::stod(field) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

class FirstPaint : public QObject {
 public:
  using QObject::QObject;

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Paint) {
      watched->removeEventFilter(this);
      // After everything that is painted in the same go.
      QTimer::singleShot(0, this, [this] {
        std::fprintf(stderr, "kelvo: painted %.0f ms after the start\n", age() * 1000);
        deleteLater();
      });
    }
    return false;
  }
};

}  // namespace

void reportFirstPaint(QWidget& window) {
  if (qEnvironmentVariableIsSet("KELVO_TRACE_START")) {
    window.installEventFilter(new FirstPaint(&window));
  }
}

}  // namespace kelvo::window
