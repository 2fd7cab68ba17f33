#include "host/window/window_module.h"

#include <QApplication>
#include <QSettings>
#include <cstdio>
#include <cstdlib>

#include "host/action_directories.h"
#include "host/run/run_plan.h"
#include "host/version.h"
#include "host/window/main_window.h"
#include "host/window/start_time.h"
#include "platform/foundation/ns_bundle.h"

namespace {

constexpr int kNoDisplay = 1;
constexpr int kNotInstalled = 2;

// The toolkit gives up, before it would end the process with a signal, when it finds no display.
void refuseStart(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text) {
  if (type == QtFatalMsg) {
    const QString reason = text.section(QLatin1Char('\n'), 0, 0);
    std::fprintf(stderr, "kelvo: the window cannot be opened: %s\n", qPrintable(reason));
    std::_Exit(kNoDisplay);
  }
}

}  // namespace

int kelvoEdit(int count, char** arguments) {
  const auto directories = kelvo::host::actionDirectories();
  const auto path = kelvo::findBundle(directories, kelvo::host::kActionName);
  const auto bundle =
      path ? kelvo::NSBundle::bundleWithPath(*path) : kelvo::Error{"it is not installed"};
  if (!bundle) {
    std::fprintf(stderr, "kelvo: the action '%s' cannot be used: %s\n", kelvo::host::kActionName,
                 bundle.error().message.c_str());
    return kNotInstalled;
  }

  // The toolkit is not to take names of files for options of its own.
  int one = 1;
  const QtMessageHandler usual = qInstallMessageHandler(refuseStart);
  const QApplication application(one, arguments);
  qInstallMessageHandler(usual);
  QApplication::setApplicationName(QStringLiteral("kelvo"));
  QApplication::setOrganizationName(QStringLiteral("kelvo"));
  QApplication::setApplicationDisplayName({});
  QApplication::setApplicationVersion(QLatin1String(kelvo::host::kVersion));
  QSettings::setDefaultFormat(QSettings::IniFormat);

  kelvo::window::MainWindow window((*bundle)->info().defaultParameters, directories);
  kelvo::window::reportFirstPaint(window);
  window.show();
  if (count > 1 && *arguments[1] != '\0') {
    window.openWorkflow(arguments[1]);
  }
  window.addFiles(std::vector<std::string>(arguments + std::min(count, 2), arguments + count));
  return QApplication::exec();
}
