#include <gtest/gtest.h>

#include <QApplication>

// The clipboard and the alerts need a QApplication on an X display (the launcher's Xvfb).
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // The desktop whose dialogs order buttons by role most unlike the order they were added in.
  qputenv("XDG_CURRENT_DESKTOP", "GNOME");
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
