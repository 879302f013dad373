// A transcript whose reply says nothing of cleanup is cleaned by a second request; whatever that
// request brings back, the transcript is delivered.

#include "FuzzApp.h"

using namespace murvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::FuzzApp f;
  f.upload("smart");
  const std::string transcript = R"({"text":"so um this is what I said"})";
  f.fake.urlSessions.reply("/transcribe", transcript);
  f.settle();
  if (f.fake.urlSessions.tasksFor("/cleanup").size() != 1)
    fuzzing::violated("no cleanup request for a reply that says nothing of cleanup");
  f.reply("/cleanup", data, size);

  if (f.shown.empty() || f.shown.back().kind != DictationState::Kind::done)
    fuzzing::violated("a transcript was lost to its cleanup");
  if (f.shown.back().text.empty() || f.fake.pasteboard.content != f.shown.back().text)
    fuzzing::violated("the delivered text is not on the pasteboard");
  return 0;
}
