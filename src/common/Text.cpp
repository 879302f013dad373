#include "common/Text.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <memory>

namespace murvel {

std::string trimmedWhitespaceAndNewlines(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto length = static_cast<std::int32_t>(text.size());

  std::int32_t begin = 0;
  while (begin < length) {
    std::int32_t next = begin;
    UChar32 c;
    U8_NEXT(bytes, next, length, c);
    if (c < 0 || !u_isUWhiteSpace(c))
      break;
    begin = next;
  }
  std::int32_t end = length;
  while (end > begin) {
    std::int32_t previous = end;
    UChar32 c;
    U8_PREV(bytes, begin, previous, c);
    if (c < 0 || !u_isUWhiteSpace(c))
      break;
    end = previous;
  }
  return std::string(
      text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
}

namespace {

std::string caseMapped(std::string_view text, bool upper) {
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  if (upper) {
    unicode.toUpper(icu::Locale::getRoot());
  } else {
    unicode.toLower(icu::Locale::getRoot());
  }
  std::string result;
  unicode.toUTF8String(result);
  return result;
}

}  // namespace

std::string lowercased(std::string_view text) {
  return caseMapped(text, false);
}

std::string uppercased(std::string_view text) {
  return caseMapped(text, true);
}

std::string lowercasedASCII(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

std::size_t userPerceivedCharacterCount(std::string_view text) {
  if (text.empty())
    return 0;
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::BreakIterator> iterator(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status) || !iterator)
    return static_cast<std::size_t>(unicode.countChar32());
  iterator->setText(unicode);
  std::size_t count = 0;
  iterator->first();
  while (iterator->next() != icu::BreakIterator::DONE) ++count;
  return count;
}

bool isValidUTF8(std::string_view bytes) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const auto length = static_cast<std::int32_t>(bytes.size());
  std::int32_t index = 0;
  while (index < length) {
    UChar32 c;
    U8_NEXT(data, index, length, c);
    if (c < 0)
      return false;
  }
  return true;
}

}  // namespace murvel
