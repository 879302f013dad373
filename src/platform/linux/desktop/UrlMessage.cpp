#include "platform/linux/desktop/UrlMessage.h"

#include <strings.h>
#include <QStringDecoder>
#include <cstring>

namespace murvel::linux_platform {

std::optional<std::string> acceptedMurvelUrl(std::string_view text) {
  if (text.size() > maxUrlMessageLength || !text.starts_with("murvel:"))
    return std::nullopt;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f)
      return std::nullopt;
  }
  // Stateless, so that a sequence cut off at the end counts as an error too.
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  [[maybe_unused]] const QString decoded =
      decoder.decode(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
  if (decoder.hasError())
    return std::nullopt;
  return std::string(text);
}

void eraseMurvelUrlArguments(int argc, char** argv) {
  constexpr std::string_view scheme = "murvel:";
  for (int i = 1; i < argc; ++i) {
    char* argument = argv[i];
    if (argument != nullptr && ::strncasecmp(argument, scheme.data(), scheme.size()) == 0)
      std::memset(argument, 0, std::strlen(argument));
  }
}

}  // namespace murvel::linux_platform
