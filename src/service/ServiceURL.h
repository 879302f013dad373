#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace murvel {

// `base` with `component` added as one path component: "a/b" stays one string with its slash.
std::string appendingPathComponent(std::string_view base, std::string_view component);

// Every byte but the unreserved characters of URIs percent-encoded, so the value survives any
// decoder ("+" and "@" included).
std::string percentEncodedQueryValue(std::string_view value);

// `url` with the query items appended, in order, each name and value percent-encoded.
std::string withQueryItems(std::string url,
                           const std::vector<std::pair<std::string, std::string>>& items);

// A URL as an incoming link is read: its scheme exactly as written, and its query items, each
// percent-decoded ("+" stays "+"); a value-less item has no value. Nothing for text that is not a
// valid URI.
struct ParsedURL {
  std::string scheme;
  std::vector<std::pair<std::string, std::optional<std::string>>> queryItems;
};
std::optional<ParsedURL> parseURL(std::string_view text);

}  // namespace murvel
