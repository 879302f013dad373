#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cloud/Outcome.h"

// Readers of what clients send, pure functions over the bytes: each gives the value or a
// sentence that says what is wrong, and none of them throws.
namespace murvel::cloud {

// The body of a cleanup request: the text, and the mode and tone when they are strings.
struct CleanupRequest {
  std::string text;
  std::optional<std::string> mode;
  std::optional<std::string> tone;

  friend bool operator==(const CleanupRequest&, const CleanupRequest&) = default;
};
Outcome<CleanupRequest> parseCleanupRequest(std::string_view body);

// The login token of an exchange request.
Outcome<std::string> parseExchangeRequest(std::string_view body);

// The key of an Authorization value "Bearer <key>" (the scheme in any case); nothing for
// another scheme, an empty key or none.
std::optional<std::string> bearerKey(std::string_view authorization);

// A trace id fit to be written to the log: 1 to 64 letters, digits, '-' or '_'.
bool isLoggableTraceId(std::string_view traceId);

// The names a request may address the service by in its Host header: the loopback names and
// the bound address, each with the port.
std::vector<std::string> ownHostNames(std::string_view bindAddress, int port);
// Whether `host` is one of `ownHosts`, names in any case.
bool isOwnHost(const std::vector<std::string>& ownHosts, std::string_view host);

// `text` fit for a log line or a reply: control characters and backslashes written as \xNN.
std::string printable(std::string_view text);

}  // namespace murvel::cloud
