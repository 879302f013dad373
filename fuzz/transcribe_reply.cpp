// Any reply to an upload ends the dictation in a result or a shown failure; a result is on the
// pasteboard and in the history.

#include "FuzzApp.h"
#include "common/Json.h"

using namespace murvel;

namespace {

// The service's own message is shown as it stands, so an empty one may only come from a reply
// that said "error": "" or "error": {"message": ""}. Every other failure has words of its own.
bool replyCarriesAnEmptyError(const std::uint8_t* data, std::size_t size) {
  const auto reply =
      parseJSONObjectOrArray(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!reply || !reply->is_object())
    return false;
  if (auto error = stringMember(*reply, "error"))
    return error->empty();
  auto error = reply->find("error");
  if (error == reply->end())
    return false;
  auto message = stringMember(*error, "message");
  return message && message->empty();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::FuzzApp f;
  // "off" keeps the cleanup request out of it: this target is about the upload's reply alone.
  f.upload("off");
  f.reply("/transcribe", data, size);

  if (f.shown.empty())
    fuzzing::violated("the dictation ended without a state");
  const DictationState& last = f.shown.back();
  if (last.kind == DictationState::Kind::error) {
    if (last.message.empty() && !replyCarriesAnEmptyError(data, size))
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
