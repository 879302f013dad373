#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QProcess>
#include <QTest>

#include "platform/linux/desktop/QtPasteboard.h"

namespace murvel::linux_platform {
namespace {

// The clipboard's text as another X client gets it. This process serves the request, so its
// event loop runs meanwhile.
std::string readByAnotherClient() {
  QProcess reader;
  reader.start(MURVEL_CLIPBOARD_PROBE);
  EXPECT_TRUE(QTest::qWaitFor([&] { return reader.state() == QProcess::NotRunning; }, 10000));
  return reader.readAllStandardOutput().toStdString();
}

TEST(Pasteboard, PlainTextGoesToTheClipboardForOtherApplications) {
  QGuiApplication::clipboard()->setText("selected elsewhere", QClipboard::Selection);
  QtPasteboard pasteboard;
  const std::string text = "Grüße – dictated ✓\nsecond line";

  pasteboard.clearContents();
  ASSERT_TRUE(pasteboard.setString(text, pasteboardTypeString));
  EXPECT_EQ(pasteboard.stringForType(pasteboardTypeString), text);
  EXPECT_EQ(readByAnotherClient(), text);
  // The mouse selection is not the clipboard.
  EXPECT_EQ(QGuiApplication::clipboard()->text(QClipboard::Selection), "selected elsewhere");

  EXPECT_FALSE(pasteboard.setString("<b>rich</b>", "public.html"));
  EXPECT_EQ(pasteboard.stringForType("public.html"), std::nullopt);
  EXPECT_EQ(pasteboard.stringForType(pasteboardTypeString), text);

  pasteboard.clearContents();
  EXPECT_EQ(pasteboard.stringForType(pasteboardTypeString), std::nullopt);
  EXPECT_EQ(readByAnotherClient(), "");
}

}  // namespace
}  // namespace murvel::linux_platform
