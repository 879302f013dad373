// Links from outside: the line a second copy hands over, and the URL event it becomes. A link
// leads at most to one sign-in exchange and never to anything else.

#include "FuzzApp.h"
#include "common/Text.h"
#include "platform/linux/desktop/UrlMessage.h"

using namespace murvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::FuzzApp f;
  f.reset();
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (const auto accepted = linux_platform::acceptedMurvelUrl(text)) {
    if (accepted->rfind("murvel:", 0) != 0 ||
        accepted->size() > linux_platform::maxUrlMessageLength || !isValidUTF8(*accepted))
      fuzzing::violated("an unacceptable line was accepted");
  }
  f.app->handleGetURLEvent(UrlEvent{text});
  f.fake.dispatch.runUntilIdle();
  if (f.fake.urlSessions.tasks.size() > 1)
    fuzzing::violated("one link made more than one request");
  for (const auto& task : f.fake.urlSessions.tasks) {
    if (task->request.url != "https://murvel.test/api/auth/exchange")
      fuzzing::violated("a link reached something other than the exchange");
  }
  return 0;
}
