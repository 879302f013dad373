// What a speech recogniser elsewhere answers: read as a text or as a sentence for the user,
// never both and never neither. Only a success status gives a text, the text has no blanks at
// its ends, and a sentence is never empty nor longer than a message box can show. The first
// byte picks the status.

#include <cstdint>
#include <string_view>

#include "Violated.h"
#include "cloud/RecognizerReply.h"

using namespace murvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0)
    return 0;
  const long statuses[] = {200, 201, 400, 401, 429, 500, 503, 302};
  const long status = statuses[data[0] % 8];
  const std::string_view body(reinterpret_cast<const char*>(data + 1), size - 1);
  const auto reply = cloud::recognizerReplyText(status, body);
  if (reply.ok()) {
    if (status != 200 && status != 201)
      fuzzing::violated("a text from a reply that was no success");
    const std::string& text = reply.value();
    if (!text.empty() && (text.front() == ' ' || text.back() == ' ' || text.back() == '\n'))
      fuzzing::violated("a text with blanks at its ends");
  } else {
    if (reply.problem().empty())
      fuzzing::violated("a failure without a sentence");
    if (reply.problem().size() > 400)
      fuzzing::violated("a failure sentence longer than a message box shows");
  }
  return 0;
}
