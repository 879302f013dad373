#include "service/ServiceURL.h"

#include <uriparser/Uri.h>

#include <memory>

namespace murvel {

std::string appendingPathComponent(std::string_view base, std::string_view component) {
  std::string url(base);
  if (url.empty() || url.back() != '/')
    url += '/';
  url.append(component);
  return url;
}

std::string percentEncodedQueryValue(std::string_view value) {
  // uriEscape writes at most six characters per input character, plus the terminator.
  std::string out(value.size() * 6 + 1, '\0');
  const char* end =
      uriEscapeExA(value.data(), value.data() + value.size(), out.data(), URI_FALSE, URI_FALSE);
  out.resize(static_cast<std::size_t>(end - out.data()));
  return out;
}

std::string withQueryItems(std::string url,
                           const std::vector<std::pair<std::string, std::string>>& items) {
  char separator = url.find('?') == std::string::npos ? '?' : '&';
  for (const auto& [name, value] : items) {
    url += separator;
    url += percentEncodedQueryValue(name);
    url += '=';
    url += percentEncodedQueryValue(value);
    separator = '&';
  }
  return url;
}

namespace {
std::string rangeText(const UriTextRangeA& range) {
  if (range.first == nullptr || range.afterLast == nullptr)
    return {};
  return std::string(range.first, range.afterLast);
}
}  // namespace

std::optional<ParsedURL> parseURL(std::string_view text) {
  UriUriA uri;
  const char* errorPos = nullptr;
  if (uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), &errorPos) !=
      URI_SUCCESS) {
    return std::nullopt;
  }
  std::unique_ptr<UriUriA, void (*)(UriUriA*)> owned(&uri, uriFreeUriMembersA);

  ParsedURL parsed;
  parsed.scheme = rangeText(uri.scheme);
  if (uri.query.first != nullptr && uri.query.afterLast != nullptr &&
      uri.query.first != uri.query.afterLast) {
    UriQueryListA* list = nullptr;
    int count = 0;
    if (uriDissectQueryMallocExA(&list, &count, uri.query.first, uri.query.afterLast, URI_FALSE,
                                 URI_BR_DONT_TOUCH) != URI_SUCCESS) {
      return std::nullopt;
    }
    for (const UriQueryListA* item = list; item != nullptr; item = item->next) {
      std::optional<std::string> value;
      if (item->value != nullptr)
        value = item->value;
      parsed.queryItems.emplace_back(item->key != nullptr ? item->key : "", std::move(value));
    }
    uriFreeQueryListA(list);
  }
  return parsed;
}

}  // namespace murvel
