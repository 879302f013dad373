#include "platform/UrlSession.h"

#include <algorithm>
#include <cctype>

namespace murvel {

namespace {
bool sameField(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}
}  // namespace

void UrlRequest::setValue(std::string value, std::string_view field) {
  for (auto& [name, existing] : headers) {
    if (sameField(name, field)) {
      existing = std::move(value);
      return;
    }
  }
  headers.emplace_back(std::string(field), std::move(value));
}

std::optional<std::string> UrlRequest::valueForHTTPHeaderField(std::string_view field) const {
  for (const auto& [name, value] : headers) {
    if (sameField(name, field))
      return value;
  }
  return std::nullopt;
}

}  // namespace murvel
