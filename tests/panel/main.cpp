#include <gtest/gtest.h>

#include <QApplication>
#include <QStyleFactory>

int main(int count, char** arguments) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  ::testing::InitGoogleTest(&count, arguments);
  const QApplication application(count, arguments);
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  return RUN_ALL_TESTS();
}
