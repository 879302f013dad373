#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>
#include <QRegularExpression>

#include "DesktopTestSupport.h"

namespace murvel::linux_platform {
namespace {

using testing::FakeTools;

// Runs the install script; its exit code.
int install(const QString& binary) {
  QProcess script;
  script.start(MURVEL_SOURCE_DIR "/scripts/install-desktop-entry.sh", {binary});
  if (!script.waitForFinished(30000) || script.exitStatus() != QProcess::NormalExit)
    return -1;
  return script.exitCode();
}

QString readFile(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

TEST(DesktopEntry, InstallsForTheUserAloneAndAgainTheSame) {
  FakeTools tools;
  tools.add("update-desktop-database");
  tools.add("xdg-mime");
  QTemporaryDir programs;
  const QString binary = programs.filePath("my programs/murvel");
  ASSERT_TRUE(QDir().mkpath(programs.filePath("my programs")));
  QFile(binary).open(QIODevice::WriteOnly);
  QFile::setPermissions(binary, QFile::ReadOwner | QFile::ExeOwner);

  const QString applications = qEnvironmentVariable("XDG_DATA_HOME") + "/applications";
  ASSERT_EQ(install(binary), 0);
  const QString entry = readFile(applications + "/murvel.desktop");
  const QStringList lines = entry.split('\n');
  EXPECT_TRUE(lines.contains("Exec=\"" + binary + "\" %u")) << entry.toStdString();
  EXPECT_TRUE(lines.contains("MimeType=x-scheme-handler/murvel;"));
  EXPECT_EQ(lines.filter(QRegularExpression("^Exec=")).size(), 1);

  ASSERT_EQ(install(binary), 0);
  EXPECT_EQ(readFile(applications + "/murvel.desktop"), entry);
  EXPECT_EQ(QDir(applications).entryList(QDir::Files | QDir::Hidden),
            QStringList{"murvel.desktop"});
  const QString refresh = "update-desktop-database " + applications;
  const QString handler = "xdg-mime default murvel.desktop x-scheme-handler/murvel";
  EXPECT_EQ(tools.calls(), (QStringList{refresh, handler, refresh, handler}));

  // A path the entry could not name reliably is refused before anything is written.
  EXPECT_NE(install("murvel"), 0);
  EXPECT_NE(install(programs.filePath("missing")), 0);
  EXPECT_EQ(tools.calls().size(), 4);
}

TEST(DesktopEntry, NeverWritesToTheSystemsDataDirectories) {
  FakeTools tools;
  tools.add("xdg-mime");
  // A stand-in for a system directory, so that a fault here writes nothing real.
  QTemporaryDir system;
  testing::ScopedEnv dirs("XDG_DATA_DIRS", system.path().toUtf8() + ":/usr/share");
  testing::ScopedEnv data("XDG_DATA_HOME", system.path().toUtf8() + "/");
  EXPECT_NE(install("/bin/true"), 0);
  EXPECT_FALSE(QFile::exists(system.filePath("applications")));
  EXPECT_TRUE(tools.calls().isEmpty());
}

}  // namespace
}  // namespace murvel::linux_platform
