// A Murvel start-up reduced to its single-instance steps: a later process ends quietly when the
// workspace names another Murvel; the one that runs prints "ready <pid>", then "url <text>" for
// each URL event, until it is killed.
#include <unistd.h>

#include <QApplication>
#include <cstdio>

#include "platform/linux/desktop/LinuxApplication.h"
#include "platform/linux/desktop/LinuxUrlEvents.h"
#include "platform/linux/desktop/LinuxWorkspace.h"
#include "platform/linux/desktop/SingleInstance.h"

using namespace murvel;
using namespace murvel::linux_platform;

int main(int argc, char** argv) {
  QApplication qtApplication(argc, argv);
  SingleInstance instance(argc, argv);
  LinuxUrlEvents urlEvents(instance);
  LinuxWorkspace workspace(instance);
  LinuxApplication application;

  urlEvents.setEventHandler([](const UrlEvent& event) {
    std::printf("url %s\n", event.directObjectString.value_or("").c_str());
    std::fflush(stdout);
  });
  for (const auto& running : workspace.runningApplications()) {
    if (running.bundleIdentifier == "com.murvel.mac" &&
        running.processIdentifier != application.processIdentifier()) {
      application.terminate();
      return QApplication::exec();
    }
  }
  std::printf("ready %lld\n", static_cast<long long>(application.processIdentifier()));
  std::fflush(stdout);
  return QApplication::exec();
}
