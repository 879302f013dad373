#include "common/Json.h"

namespace murvel {

std::optional<nlohmann::json> parseJSONObjectOrArray(std::string_view data) {
  nlohmann::json parsed = nlohmann::json::parse(data.begin(), data.end(), nullptr, false);
  if (parsed.is_discarded())
    return std::nullopt;
  if (!parsed.is_object() && !parsed.is_array())
    return std::nullopt;
  return parsed;
}

std::string compactJSON(const nlohmann::json& value) {
  return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<std::string> stringMember(const nlohmann::json& object, std::string_view key) {
  if (!object.is_object())
    return std::nullopt;
  auto found = object.find(key);
  if (found == object.end() || !found->is_string())
    return std::nullopt;
  return found->get<std::string>();
}

}  // namespace murvel
