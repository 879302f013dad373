#pragma once

#include <httplib.h>

#include <optional>
#include <string>
#include <vector>

#include "cloud/Service.h"

// The handlers of the endpoints and what they share. Every refusal is a JSON object with an
// "error" sentence, except on the pages the browser shows, where it is a page.
namespace murvel::cloud {

struct Service::Context {
  ServiceSettings settings;
  Store& store;
  RecognitionQueue& recognition;
  LogSink log;
  // The names requests may address the service by, once it is bound.
  std::vector<std::string> ownHosts;
};

void handleHealth(Service::Context& context, const httplib::Request& request,
                  httplib::Response& response);
void handleTranscribe(Service::Context& context, const httplib::Request& request,
                      httplib::Response& response, const httplib::ContentReader& reader);
void handleCleanup(Service::Context& context, const httplib::Request& request,
                   httplib::Response& response, const httplib::ContentReader& reader);
void handleSignInStart(Service::Context& context, const httplib::Request& request,
                       httplib::Response& response);
void handleSignInContinue(Service::Context& context, const httplib::Request& request,
                          httplib::Response& response);
void handleExchange(Service::Context& context, const httplib::Request& request,
                    httplib::Response& response, const httplib::ContentReader& reader);
void handleAccountInfo(Service::Context& context, const httplib::Request& request,
                       httplib::Response& response);

// Shared by the handlers.
namespace reply {

void error(httplib::Response& response, int status, const std::string& message);
void json(httplib::Response& response, int status, const std::string& body);
void page(httplib::Response& response, int status, const std::string& html);

}  // namespace reply

// A JSON request body of at most `limit` bytes; beyond that the rest is read and dropped, so
// the connection stays usable, and nothing comes back.
struct Body {
  std::string bytes;
  bool tooLarge = false;
  bool complete = true;  // false when the client stopped sending
};
Body readBody(const httplib::ContentReader& reader, std::size_t limit);

// The address of the account whose key the request carries; otherwise the refusal is written
// to `response` and nothing comes back.
std::optional<std::string> authorisedEmail(Service::Context& context,
                                           const httplib::Request& request,
                                           httplib::Response& response);

// The request's trace id as the log may show it.
std::string traceOf(const httplib::Request& request);

}  // namespace murvel::cloud
