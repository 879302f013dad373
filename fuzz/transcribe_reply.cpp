// Any reply to an upload ends the dictation in a result or a shown failure; a result is on the
// pasteboard and in the history.

#include "FuzzApp.h"

using namespace murvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::FuzzApp f;
  // "off" keeps the cleanup request out of it: this target is about the upload's reply alone.
  f.upload("off");
  f.reply("/transcribe", data, size);

  if (f.shown.empty())
    fuzzing::violated("the dictation ended without a state");
  const DictationState& last = f.shown.back();
  if (last.kind == DictationState::Kind::error) {
    if (last.message.empty())
      fuzzing::violated("a failure without a message");
  } else if (last.kind == DictationState::Kind::done) {
    if (f.fake.pasteboard.content != last.text)
      fuzzing::violated("a result that is not on the pasteboard");
    if (f.app->history.empty() || f.app->history.front().text != last.text)
      fuzzing::violated("a result that is not in the history");
  } else {
    fuzzing::violated("the dictation ended neither done nor failed");
  }
  return 0;
}
