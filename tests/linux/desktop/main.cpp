#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <cstdio>
#include <string_view>

#include "platform/linux/desktop/SingleInstance.h"

// A QApplication on the launcher's X display. The binary is also the other processes of tests: a
// client that prints the clipboard, and a start-up reduced to its single-instance step.
int main(int argc, char** argv) {
  const std::string_view role = argc > 1 ? argv[1] : "";
  // The desktop whose dialogs order buttons by role most unlike the order they were added in.
  qputenv("XDG_CURRENT_DESKTOP", "GNOME");
  QApplication application(argc, argv);
  if (role == "--print-clipboard")
    return std::fputs(QApplication::clipboard()->text().toUtf8().constData(), stdout) < 0;
  if (role == "--instance") {
    const murvel::linux_platform::SingleInstance instance(argc, argv);
    if (!instance.isPrimary())
      return 0;
    std::puts("primary");
    std::fflush(stdout);
    return QApplication::exec();
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
