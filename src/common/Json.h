#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace murvel {

// Parses a reply body the way the service's clients read it: a JSON object or array at the top,
// nothing for anything else (a bare string or number, bad syntax, an empty body). Never throws.
std::optional<nlohmann::json> parseJSONObjectOrArray(std::string_view data);

// Compact JSON text, with ill-formed UTF-8 in strings replaced rather than thrown on.
std::string compactJSON(const nlohmann::json& value);

// The member `key` of `object` when it is a string, else nothing.
std::optional<std::string> stringMember(const nlohmann::json& object, std::string_view key);

}  // namespace murvel
