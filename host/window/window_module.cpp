#include "host/window/window_module.h"

#include <QApplication>

#include "panel/panel.h"

int kelvoEdit(int count, char** arguments) {
  const QApplication application(count, arguments);
  kelvo::Panel panel(std::make_shared<kelvo::ParameterDictionary>(), QImage());
  panel.show();
  return QApplication::exec();
}
