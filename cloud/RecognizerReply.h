#pragma once

#include <string>
#include <string_view>

#include "cloud/Outcome.h"

namespace murvel::cloud {

// What a server of the audio-transcription interface answered: the text of {"text": "…"} (may be
// empty when nothing was heard), or the server's {"error": {"message": "…"}}, or why the reply
// could not be read, as a sentence for the user. `status` is the HTTP status.
Outcome<std::string> recognizerReplyText(long status, std::string_view body);

}  // namespace murvel::cloud
