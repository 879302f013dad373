#include "cloud/TextChunks.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>

namespace murvel::cloud {

namespace {

constexpr std::string_view openingMarks[]{"(",      "[",      "{",      "\"",     "'",
                                          "\u201C", "\u2018", "\u00AB", "\u00BF", "\u00A1"};
constexpr std::string_view closingMarks[]{".",      ",",      "!",      "?",      ";",     ":",
                                          ")",      "]",      "}",      "\"",     "'",     "\u201D",
                                          "\u2019", "\u00BB", "\u2026", "\u3002", "\uFF0C"};

// The length of the mark in `set` that `text` begins (or, with `atEnd`, ends) with; 0 if none.
template <class Set>
std::size_t markLength(std::string_view text, const Set& set, bool atEnd) {
  for (std::string_view mark : set) {
    if (atEnd ? text.ends_with(mark) : text.starts_with(mark))
      return mark.size();
  }
  return 0;
}

bool isClosingOnly(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = markLength(text, closingMarks, false);
    if (length == 0)
      return false;
    text.remove_prefix(length);
  }
  return true;
}

Chunk chunkOf(std::string_view token) {
  Chunk chunk;
  while (std::size_t length = markLength(token, openingMarks, false)) {
    chunk.lead.append(token.substr(0, length));
    token.remove_prefix(length);
  }
  std::size_t trailStart = token.size();
  while (std::size_t length = markLength(token.substr(0, trailStart), closingMarks, true))
    trailStart -= length;
  chunk.word = std::string(token.substr(0, trailStart));
  chunk.trail = std::string(token.substr(trailStart));
  return chunk;
}

bool isBlank(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

}  // namespace

Chunks splitChunks(std::string_view text) {
  Chunks chunks;
  int breaksInARow = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    const unsigned char c = static_cast<unsigned char>(text[at]);
    if (c == '\n') {
      // A blank line is kept as a paragraph break; more are one.
      if (!chunks.empty() && breaksInARow < 2) {
        Chunk lineBreak;
        lineBreak.lineBreak = true;
        chunks.push_back(std::move(lineBreak));
        ++breaksInARow;
      }
      ++at;
      continue;
    }
    if (isBlank(c) || text.substr(at).starts_with("\u00A0")) {
      at += c == 0xC2 ? 2 : 1;
      continue;
    }
    std::size_t end = at;
    while (end < text.size() && !isBlank(static_cast<unsigned char>(text[end])) &&
           text[end] != '\n' && !text.substr(end).starts_with("\u00A0")) {
      ++end;
    }
    const std::string_view token = text.substr(at, end - at);
    at = end;
    breaksInARow = 0;
    if (isClosingOnly(token) && !chunks.empty() && !chunks.back().lineBreak) {
      chunks.back().trail += token;
      continue;
    }
    chunks.push_back(chunkOf(token));
  }
  while (!chunks.empty() && chunks.back().lineBreak) chunks.pop_back();
  return chunks;
}

std::string joinChunks(const Chunks& chunks) {
  std::string text;
  bool lineStart = true;
  for (const Chunk& chunk : chunks) {
    if (chunk.lineBreak) {
      text += '\n';
      lineStart = true;
      continue;
    }
    if (chunk.lead.empty() && chunk.word.empty() && chunk.trail.empty())
      continue;
    if (!lineStart)
      text += ' ';
    text += chunk.lead;
    text += chunk.word;
    text += chunk.trail;
    lineStart = false;
  }
  return text;
}

std::string foldedWord(const Chunk& chunk) {
  std::string folded;
  folded.reserve(chunk.word.size());
  std::string_view word = chunk.word;
  while (!word.empty()) {
    if (word.starts_with("\u2019")) {
      folded += '\'';
      word.remove_prefix(3);
      continue;
    }
    const char c = word.front();
    folded += (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    word.remove_prefix(1);
  }
  return folded;
}

bool endsSentence(std::string_view trail) {
  return trail.find_first_of(".!?") != std::string_view::npos ||
         trail.find("\u2026") != std::string_view::npos ||
         trail.find("\u3002") != std::string_view::npos;
}

std::string withCapitalFirstLetter(std::string_view word) {
  if (word.empty())
    return std::string(word);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(word.data());
  const auto length = static_cast<std::int32_t>(std::min<std::size_t>(word.size(), 4));
  std::int32_t next = 0;
  UChar32 letter = 0;
  U8_NEXT(bytes, next, length, letter);
  if (letter < 0)
    return std::string(word);
  const UChar32 upper = u_toupper(letter);
  if (upper == letter)
    return std::string(word);
  std::uint8_t encoded[U8_MAX_LENGTH];
  std::int32_t encodedLength = 0;
  UBool failed = false;
  U8_APPEND(encoded, encodedLength, U8_MAX_LENGTH, upper, failed);
  if (failed)
    return std::string(word);
  return std::string(reinterpret_cast<const char*>(encoded),
                     static_cast<std::size_t>(encodedLength)) +
         std::string(word.substr(static_cast<std::size_t>(next)));
}

bool isAllCapitals(std::string_view word) {
  bool letters = false;
  for (const char c : word) {
    if (c >= 'a' && c <= 'z')
      return false;
    letters = letters || (c >= 'A' && c <= 'Z');
  }
  return letters;
}

}  // namespace murvel::cloud
