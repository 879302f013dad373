#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

#include "platform/linux/desktop/QtPasteboard.h"

namespace murvel::linux_platform {
namespace {

// The clipboard's text as another X client gets it; this process serves the request meanwhile.
std::string readByAnotherClient() {
  QProcess reader;
  reader.start(QCoreApplication::applicationFilePath(), {"--print-clipboard"});
  EXPECT_TRUE(QTest::qWaitFor([&] { return reader.state() == QProcess::NotRunning; }, 10000));
  return reader.readAllStandardOutput().toStdString();
}

TEST(Pasteboard, PlainTextGoesToTheClipboardForOtherApplications) {
  QtPasteboard pasteboard;
  const std::string text = "Grüße – dictated ✓\nsecond line";
  ASSERT_TRUE(pasteboard.setString(text, pasteboardTypeString));
  EXPECT_EQ(readByAnotherClient(), text);

  pasteboard.clearContents();
  EXPECT_EQ(readByAnotherClient(), "");
}

}  // namespace
}  // namespace murvel::linux_platform
