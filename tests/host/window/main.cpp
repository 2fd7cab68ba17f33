#include <gtest/gtest.h>

#include <QApplication>
#include <QSettings>
#include <cstdlib>
#include <cstring>

#include "host/workers/worker_main.h"
#include "host/workers/worker_process.h"

// The window starts the program that it is in as its workers.
int main(int count, char** values) {
  if (count == 3 && std::strcmp(values[1], kelvo::host::kWorkerArgument) == 0) {
    return kelvo::host::workerMain(values[2]);
  }
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  ::unsetenv("QT_SCALE_FACTOR");
  QSettings::setDefaultFormat(QSettings::IniFormat);
  ::testing::InitGoogleTest(&count, values);
  const QApplication application(count, values);
  QApplication::setApplicationName(QStringLiteral("kelvo"));
  QApplication::setOrganizationName(QStringLiteral("kelvo"));
  return RUN_ALL_TESTS();
}
