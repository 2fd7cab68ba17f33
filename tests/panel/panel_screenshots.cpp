// Writes a picture of every adjustment's settings: panel_screenshots light|dark FOLDER
// The scale is that of the environment (QT_SCALE_FACTOR).

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QPalette>
#include <QStyleFactory>
#include <cstdio>
#include <cstring>

#include "action/filter_number.h"
#include "panel/kelvo_controller.h"
#include "panel/panel.h"
#include "tests/panel/default_parameters.h"

namespace {

QPalette darkPalette() {
  QPalette palette(QColor(53, 53, 53));
  palette.setColor(QPalette::Base, QColor(35, 35, 35));
  palette.setColor(QPalette::Highlight, QColor(42, 130, 218));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  return palette;
}

QString fileName(const kelvo::KelvoController& controller, int number) {
  const QString title = controller.filterPopUp->itemText(number).toLower();
  return QStringLiteral("%1-%2.png")
      .arg(number, 2, 10, QLatin1Char('0'))
      .arg(QString(title).replace(QLatin1Char(' '), QLatin1Char('-')).replace('/', '-'));
}

}  // namespace

int main(int count, char** arguments) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(count, arguments);
  const bool dark = count == 3 && std::strcmp(arguments[1], "dark") == 0;
  if (count != 3 || (!dark && std::strcmp(arguments[1], "light") != 0)) {
    std::fputs("usage: panel_screenshots light|dark FOLDER\n", stderr);
    return 2;
  }
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  if (dark) QApplication::setPalette(darkPalette());
  const QDir folder(QString::fromLocal8Bit(arguments[2]));
  folder.mkpath(QStringLiteral("."));

  kelvo::Panel panel(kelvo::testing::defaultParameters(), QImage());
  const kelvo::KelvoController& controller = panel.controller();
  if (const auto bundle =
          kelvo::NSBundle::bundleWithPath(KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action")) {
    panel.setBundle(*bundle);
  }
  panel.resize(panel.sizeHint());
  panel.show();
  for (int number = 0; number < controller.filterPopUp->count(); ++number) {
    if (controller.filterPopUp->itemText(number).isEmpty()) continue;
    panel.parameters()->setObject_forKey(std::to_string(number), "filterPopUp");
    panel.reload();
    QApplication::processEvents();
    if (!panel.grab().save(folder.filePath(fileName(controller, number)))) {
      std::fprintf(stderr, "panel_screenshots: cannot write into %s\n", arguments[2]);
      return 1;
    }
  }
  return 0;
}
