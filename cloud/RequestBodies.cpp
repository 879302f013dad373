#include "cloud/RequestBodies.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace murvel::cloud {

namespace {

// The body as a JSON object, or why it is not one.
Outcome<nlohmann::json> jsonObject(std::string_view body) {
  nlohmann::json parsed = nlohmann::json::parse(body.begin(), body.end(), nullptr, false);
  if (parsed.is_discarded())
    return Outcome<nlohmann::json>::failure("The request body is not valid JSON.");
  if (!parsed.is_object())
    return Outcome<nlohmann::json>::failure("The request body must be a JSON object.");
  return Outcome<nlohmann::json>::success(std::move(parsed));
}

std::optional<std::string> stringMember(const nlohmann::json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_string())
    return std::nullopt;
  return found->get<std::string>();
}

}  // namespace

Outcome<CleanupRequest> parseCleanupRequest(std::string_view body) {
  auto object = jsonObject(body);
  if (!object.ok())
    return Outcome<CleanupRequest>::failure(object.problem());
  auto text = stringMember(object.value(), "text");
  if (!text)
    return Outcome<CleanupRequest>::failure("The request has no \"text\" string to clean.");
  return Outcome<CleanupRequest>::success(CleanupRequest{std::move(*text),
                                                         stringMember(object.value(), "mode"),
                                                         stringMember(object.value(), "tone")});
}

Outcome<std::string> parseExchangeRequest(std::string_view body) {
  auto object = jsonObject(body);
  if (!object.ok())
    return Outcome<std::string>::failure(object.problem());
  auto token = stringMember(object.value(), "login_token");
  if (!token || token->empty())
    return Outcome<std::string>::failure("The request has no \"login_token\" string.");
  return Outcome<std::string>::success(std::move(*token));
}

std::optional<std::string> bearerKey(std::string_view authorization) {
  constexpr std::string_view scheme = "bearer";
  if (authorization.size() <= scheme.size())
    return std::nullopt;
  for (std::size_t i = 0; i < scheme.size(); ++i) {
    const char c = authorization[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != scheme[i])
      return std::nullopt;
  }
  std::string_view rest = authorization.substr(scheme.size());
  if (rest.front() != ' ' && rest.front() != '\t')
    return std::nullopt;
  while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t')) rest.remove_prefix(1);
  while (!rest.empty() && (rest.back() == ' ' || rest.back() == '\t')) rest.remove_suffix(1);
  if (rest.empty())
    return std::nullopt;
  return std::string(rest);
}

bool isLoggableTraceId(std::string_view traceId) {
  if (traceId.empty() || traceId.size() > 64)
    return false;
  for (const char c : traceId) {
    const bool allowed = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                         (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
    if (!allowed)
      return false;
  }
  return true;
}

std::vector<std::string> ownHostNames(std::string_view bindAddress, int port) {
  const std::string suffix = ":" + std::to_string(port);
  std::vector<std::string> names{"127.0.0.1" + suffix, "localhost" + suffix, "[::1]" + suffix};
  const bool ipv6 = bindAddress.find(':') != std::string_view::npos;
  names.push_back((ipv6 ? "[" + std::string(bindAddress) + "]" : std::string(bindAddress)) +
                  suffix);
  return names;
}

bool isOwnHost(const std::vector<std::string>& ownHosts, std::string_view host) {
  const auto lower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return std::ranges::any_of(ownHosts, [&](const std::string& own) {
    return std::ranges::equal(own, host, {}, lower, lower);
  });
}

std::string printable(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F || c == '\\') {
      constexpr std::string_view digits = "0123456789abcdef";
      shown += "\\x";
      shown += digits[byte >> 4];
      shown += digits[byte & 0xF];
    } else {
      shown += c;
    }
  }
  return shown;
}

}  // namespace murvel::cloud
