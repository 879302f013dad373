// The JSON bodies clients send the local service: a cleanup request and a sign-in exchange.
// Each is read or refused with a reason; a cleanup request that reads is cleaned in every mode
// and tone, `off` gives the text back as it came, and text that is valid UTF-8 stays so.

#include <cstdint>
#include <string>
#include <string_view>

#include <unicode/utf8.h>

#include "Violated.h"
#include "cloud/Cleanup.h"
#include "cloud/RequestBodies.h"

using namespace murvel;

namespace {

// ICU's reading of UTF-8, the reference the cleanup is held to.
bool isValidUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto length = static_cast<std::int32_t>(text.size());
  for (std::int32_t at = 0; at < length;) {
    UChar32 point;
    U8_NEXT(bytes, at, length, point);
    if (point < 0)
      return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view body(reinterpret_cast<const char*>(data), size);

  const auto token = cloud::parseExchangeRequest(body);
  if (!token.ok() && token.problem().empty())
    fuzzing::violated("an exchange refused without a reason");

  const auto request = cloud::parseCleanupRequest(body);
  if (!request.ok()) {
    if (request.problem().empty())
      fuzzing::violated("a cleanup request refused without a reason");
    return 0;
  }
  const std::string& text = request.value().text;
  const auto asked = cloud::cleanupChoice(request.value().mode, request.value().tone);
  if (asked.mode == cloud::CleanupMode::off && cloud::cleanedText(text, asked) != text)
    fuzzing::violated("cleanup off changed the text");
  const bool valid = isValidUtf8(text);
  for (const auto mode : {cloud::CleanupMode::fast, cloud::CleanupMode::smart}) {
    for (const auto tone :
         {cloud::Tone::automatic, cloud::Tone::casual, cloud::Tone::formal, cloud::Tone::bullets}) {
      const std::string cleaned = cloud::cleanedText(text, {mode, tone});
      if (valid && !isValidUtf8(cleaned))
        fuzzing::violated("cleanup broke a UTF-8 sequence");
      if (mode == cloud::CleanupMode::fast)
        break;  // fast takes no tone
    }
  }
  return 0;
}
