#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
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

// A prefix that `cmake --install` puts the app under, and whether it is the user's own.
struct InstallPrefix {
  const char* name;
  bool usersOwn;
};

class InstallTest : public ::testing::TestWithParam<InstallPrefix> {};

TEST_P(InstallTest, PutsTheProgramItsEntriesAndIconUnderThePrefixAndRegistersTheScheme) {
  testing::FakeTools tools;
  tools.add("update-desktop-database");
  tools.add("xdg-mime");
  QTemporaryDir elsewhere;
  // The session's HOME is a temporary directory of its own.
  const QString prefix =
      GetParam().usersOwn ? qEnvironmentVariable("HOME") + "/.local" : elsewhere.filePath("opt");
  ASSERT_EQ(QProcess::execute(MURVEL_CMAKE, {"--install", MURVEL_BINARY_DIR, "--component",
                                             "murvel", "--prefix", prefix}),
            0);

  EXPECT_TRUE(QFileInfo(prefix + "/bin/murvel").isExecutable());
  EXPECT_TRUE(QFile::exists(prefix + "/share/icons/hicolor/scalable/apps/murvel.svg"));
  const QString entry = prefix + "/share/applications/murvel.desktop";
  const QString autostart = prefix + "/share/murvel/autostart/murvel.desktop";
  EXPECT_EQ(QProcess::execute("desktop-file-validate", {entry, autostart}), 0);
  EXPECT_TRUE(testing::readFile(entry).contains("\nExec=" + prefix + "/bin/murvel %u\n"));
  EXPECT_TRUE(testing::readFile(entry).contains("\nMimeType=x-scheme-handler/murvel;\n"));
  EXPECT_TRUE(testing::readFile(autostart).contains("\nExec=" + prefix + "/bin/murvel\n"));
  EXPECT_FALSE(testing::readFile(autostart).contains("MimeType"));

  QString expected = "update-desktop-database " + prefix + "/share/applications\n";
  if (GetParam().usersOwn)
    expected += "xdg-mime default murvel.desktop x-scheme-handler/murvel\n";
  EXPECT_EQ(tools.calls(), expected);
}

INSTANTIATE_TEST_SUITE_P(Prefixes, InstallTest,
                         ::testing::Values(InstallPrefix{"TheUsersOwn", true},
                                           InstallPrefix{"Elsewhere", false}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace murvel::linux_platform
