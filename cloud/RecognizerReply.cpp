#include "cloud/RecognizerReply.h"

#include <nlohmann/json.hpp>

namespace murvel::cloud {

namespace {

// A server's message is passed on to the user, but not a page of it.
std::string shortened(std::string message) {
  constexpr std::size_t most = 300;
  if (message.size() <= most)
    return message;
  std::size_t cut = most;
  // Not inside a UTF-8 sequence.
  while (cut > 0 && (static_cast<unsigned char>(message[cut]) & 0xC0) == 0x80) --cut;
  return message.substr(0, cut) + "…";
}

}  // namespace

Outcome<std::string> recognizerReplyText(long status, std::string_view body) {
  using Text = Outcome<std::string>;
  const auto reply = nlohmann::json::parse(body, nullptr, false);
  if (reply.is_object()) {
    const auto error = reply.find("error");
    if (error != reply.end() && error->is_object()) {
      const auto message = error->find("message");
      if (message != error->end() && message->is_string() && !message->get<std::string>().empty())
        return Text::failure("The speech recogniser refused the recording: " +
                             shortened(message->get<std::string>()));
    }
    const auto text = reply.find("text");
    if (status >= 200 && status < 300 && text != reply.end() && text->is_string()) {
      // Such servers tend to begin the text with a blank.
      std::string words = text->get<std::string>();
      const std::size_t first = words.find_first_not_of(" \t\r\n");
      if (first == std::string::npos)
        return Text::success({});
      words.erase(0, first);
      words.erase(words.find_last_not_of(" \t\r\n") + 1);
      return Text::success(std::move(words));
    }
  }
  return Text::failure("The speech recogniser sent a reply that could not be read (HTTP status " +
                       std::to_string(status) + ").");
}

}  // namespace murvel::cloud
