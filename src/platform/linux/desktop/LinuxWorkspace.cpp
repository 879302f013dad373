#include "platform/linux/desktop/LinuxWorkspace.h"

#include <unistd.h>

#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <cstdlib>
#include <string_view>

#include "platform/linux/desktop/SingleInstance.h"

namespace murvel::linux_platform {

namespace {

constexpr std::string_view microphoneSettingsLink =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";
constexpr std::string_view accessibilitySettingsLink =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";

struct Command {
  QString program;
  QStringList arguments;
};

RunningApplication murvelProcess(std::int64_t pid) {
  return RunningApplication{.bundleIdentifier = "com.murvel.mac",
                            .localizedName = "Murvel",
                            .processIdentifier = pid,
                            .platformHandle = 0};
}

// Sound settings, the nearest thing to a microphone permission: the panel of the running
// desktop first, then the mixers that work on any desktop.
std::vector<Command> soundSettingsCommands() {
  std::vector<Command> commands;
  const QStringList desktops =
      qEnvironmentVariable("XDG_CURRENT_DESKTOP").toUpper().split(':', Qt::SkipEmptyParts);
  for (const QString& desktop : desktops) {
    if (desktop == "GNOME" || desktop == "UNITY" || desktop == "BUDGIE") {
      commands.push_back({"gnome-control-center", {"sound"}});
    } else if (desktop == "KDE") {
      commands.push_back({"systemsettings", {"kcm_pulseaudio"}});
      commands.push_back({"systemsettings5", {"kcm_pulseaudio"}});
    } else if (desktop == "X-CINNAMON") {
      commands.push_back({"cinnamon-settings", {"sound"}});
    } else if (desktop == "MATE") {
      commands.push_back({"mate-volume-control", {}});
    } else if (desktop == "LXQT") {
      commands.push_back({"pavucontrol-qt", {}});
    }
  }
  commands.push_back({"pavucontrol", {}});
  commands.push_back({"pavucontrol-qt", {}});
  commands.push_back({"gnome-control-center", {"sound"}});
  return commands;
}

// Starts the program, found in PATH, without a shell and without waiting for it.
bool startDetached(const Command& command) {
  const QString path = QStandardPaths::findExecutable(command.program);
  if (path.isEmpty())
    return false;
  return QProcess::startDetached(path, command.arguments);
}

bool isWebPage(const std::string& url) {
  const QUrl parsed(QString::fromStdString(url), QUrl::StrictMode);
  if (!parsed.isValid() || parsed.host().isEmpty())
    return false;
  const QString scheme = parsed.scheme();
  return scheme == "http" || scheme == "https";
}

std::optional<std::filesystem::path> absolutePathFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0')
    return std::nullopt;
  std::filesystem::path path(value);
  // Relative values are invalid for these variables, and are ignored as the XDG rules say.
  if (!path.is_absolute())
    return std::nullopt;
  return path;
}

}  // namespace

LinuxWorkspace::LinuxWorkspace(const SingleInstance& instance, WindowHooks hooks)
    : instance_(instance), hooks_(std::move(hooks)) {}

std::optional<RunningApplication> LinuxWorkspace::frontmostApplication() {
  if (!hooks_.frontmostApplication)
    return std::nullopt;
  return hooks_.frontmostApplication();
}

std::vector<RunningApplication> LinuxWorkspace::runningApplications() {
  std::vector<RunningApplication> applications;
  // An unknown process id (the lock's text unreadable) still names another process: the lock
  // is held all the same.
  if (!instance_.isPrimary())
    applications.push_back(murvelProcess(instance_.primaryProcessIdentifier().value_or(0)));
  applications.push_back(murvelProcess(::getpid()));
  return applications;
}

void LinuxWorkspace::activate(const RunningApplication& application) {
  if (hooks_.activate)
    hooks_.activate(application);
}

bool LinuxWorkspace::openURL(const std::string& url) {
  if (url == microphoneSettingsLink) {
    for (const Command& command : soundSettingsCommands()) {
      if (startDetached(command))
        return true;
    }
    return false;
  }
  // On X11 listening to keys and posting them needs no grant, and no desktop has a panel for
  // it: there is nothing to open.
  if (url == accessibilitySettingsLink)
    return false;
  if (!isWebPage(url))
    return false;
  return startDetached({"xdg-open", {QString::fromStdString(url)}});
}

std::filesystem::path LinuxWorkspace::temporaryDirectory() {
  return absolutePathFromEnvironment("TMPDIR").value_or("/tmp");
}

std::optional<std::filesystem::path> LinuxWorkspace::applicationSupportDirectory() {
  if (auto dataHome = absolutePathFromEnvironment("XDG_DATA_HOME"))
    return dataHome;
  if (auto home = absolutePathFromEnvironment("HOME"))
    return *home / ".local" / "share";
  return std::nullopt;
}

}  // namespace murvel::linux_platform
