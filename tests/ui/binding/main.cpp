#include <gtest/gtest.h>

#include <QApplication>

// The widgets need a QApplication; the offscreen platform gives it a screen without a display.
int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
