#include <nlohmann/json.hpp>

#include "cloud/Cleanup.h"
#include "cloud/Endpoints.h"
#include "cloud/RequestBodies.h"

namespace murvel::cloud {

namespace {

// A text to clean is a dictation, not a document.
constexpr std::size_t cleanupBodyLimit = 1024 * 1024;

bool isBlankText(std::string_view text) {
  return text.find_first_not_of(" \t\r\n\f\v") == std::string_view::npos;
}

}  // namespace

void handleCleanup(Service::Context& context, const httplib::Request& request,
                   httplib::Response& response, const httplib::ContentReader& reader) {
  const Body body = readBody(reader, cleanupBodyLimit);
  if (!authorisedEmail(context, request, response))
    return;
  if (!body.complete) {
    reply::error(response, 400, "The request was cut off before its end.");
    return;
  }
  if (body.tooLarge) {
    reply::error(response, 413, "The text is larger than the service cleans (1 MiB).");
    return;
  }
  const auto parsed = parseCleanupRequest(body.bytes);
  if (!parsed.ok()) {
    reply::error(response, 400, parsed.problem());
    return;
  }
  const CleanupRequest& cleanup = parsed.value();
  if (isBlankText(cleanup.text)) {
    reply::error(response, 400, "There is no text to clean.");
    return;
  }
  const CleanupChoice choice = cleanupChoice(cleanup.mode, cleanup.tone);
  const std::string text = cleanedText(cleanup.text, choice);
  if (text.empty()) {
    reply::error(response, 422, "Nothing but filler words is left of the text.");
    return;
  }
  const bool cleaned = choice.mode != CleanupMode::off;
  reply::json(
      response, 200,
      nlohmann::json{
          {"text", text}, {"cleanup_applied", cleaned}, {"cleanup_mode", nameOf(choice.mode)}}
          .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace murvel::cloud
