#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>

#include "DesktopTestSupport.h"

namespace murvel::linux_platform {
namespace {

int install(const QString& binary) {
  return QProcess::execute(MURVEL_SOURCE_DIR "/scripts/install-desktop-entry.sh", {binary});
}

TEST(DesktopEntry, InstallsForTheUserAloneAndAgainTheSame) {
  testing::FakeTools tools;
  tools.add("update-desktop-database");
  tools.add("xdg-mime");
  QTemporaryDir programs;
  const QString binary = programs.filePath("my programs/murvel");
  ASSERT_TRUE(QDir().mkpath(programs.filePath("my programs")));
  ASSERT_TRUE(QFile::copy("/bin/true", binary));

  const QString applications = qEnvironmentVariable("XDG_DATA_HOME") + "/applications";
  ASSERT_EQ(install(binary), 0);
  const QString entry = testing::readFile(applications + "/murvel.desktop");
  EXPECT_TRUE(entry.contains("\nExec=\"" + binary + "\" %u\n")) << entry.toStdString();
  EXPECT_TRUE(entry.contains("\nMimeType=x-scheme-handler/murvel;\n"));

  ASSERT_EQ(install(binary), 0);
  EXPECT_EQ(testing::readFile(applications + "/murvel.desktop"), entry);
  EXPECT_EQ(QDir(applications).entryList(QDir::Files | QDir::Hidden),
            QStringList{"murvel.desktop"});
  const QString refresh = "update-desktop-database " + applications;
  const QString handler = "xdg-mime default murvel.desktop x-scheme-handler/murvel";
  EXPECT_EQ(tools.calls(), (refresh + "\n" + handler + "\n").repeated(2));

  // Never into the system's data directories (a stand-in here, so that a fault writes nothing).
  QTemporaryDir system;
  testing::ScopedEnv dirs("XDG_DATA_DIRS", (system.path() + ":/usr/share").toUtf8().constData());
  testing::ScopedEnv data("XDG_DATA_HOME", (system.path() + "/").toUtf8().constData());
  EXPECT_NE(install(binary), 0);
  EXPECT_FALSE(QFile::exists(system.filePath("applications")));
  EXPECT_EQ(tools.calls().count('\n'), 4);
}

}  // namespace
}  // namespace murvel::linux_platform
