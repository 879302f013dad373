#include "fakes/FakePlatform.h"

#include <stdlib.h>

namespace murvel::testing {

FakePlatform::FakePlatform(RealFamilies real)
    : platform{dispatch,
               userDefaults,
               audioRecorders,
               captureDevice,
               workspace,
               sounds,
               keychain,
               real.eventMonitors != nullptr ? *real.eventMonitors : eventMonitors,
               urlSessions,
               pasteboard,
               keyEventPoster,
               accessibility,
               alerts,
               bundle,
               application,
               urlEvents,
               real.standardOutput != nullptr ? *real.standardOutput : standardOutput,
               statusBar,
               windowServer,
               dateFormatter} {
  workspace.journal = urlSessions.journal = &journal;
  workspace.temporary = directory.path() / "tmp";
  workspace.applicationSupport = directory.path() / "data";
  std::filesystem::create_directories(workspace.temporary);
}

}  // namespace murvel::testing
