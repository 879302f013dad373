#include <gtest/gtest.h>

#include <QGuiApplication>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "xcb");
  // Qt's own dispatcher, unlike GLib's, can leave socket notifiers out of an event loop pass:
  // a test uses that to hold the monitors' connection back.
  qputenv("QT_NO_GLIB", "1");
  QGuiApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
