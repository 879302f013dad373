// The JSON bodies clients send the local service: a cleanup request and a sign-in exchange.
// Each is read or refused with a reason; a cleanup request that reads is cleaned in every mode
// and tone, `off` gives the text back as it came, and text that is valid UTF-8 stays so.

#include <cstdint>
#include <string>
#include <string_view>

#include "Violated.h"
#include "cloud/Cleanup.h"
#include "cloud/RequestBodies.h"

using namespace murvel;

namespace {

bool isValidUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    std::uint32_t point = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    }
    if ((lead & 0xE0) == 0xC0) {
      length = 2;
      point = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3;
      point = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4;
      point = lead & 0x07;
    } else {
      return false;
    }
    if (i + length > text.size())
      return false;
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80)
        return false;
      point = (point << 6) | (next & 0x3F);
    }
    const std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (point < smallest[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF))
      return false;
    i += length;
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
