#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace murvel::cloud {

// One blank-separated piece of a text: the punctuation before its word, the word, and the
// punctuation after it. A line break is a piece of its own. The rules of cleanup look at words
// and move punctuation; everything else in a piece passes through as it came.
struct Chunk {
  std::string lead;
  std::string word;
  std::string trail;
  bool lineBreak = false;

  friend bool operator==(const Chunk&, const Chunk&) = default;
};

using Chunks = std::vector<Chunk>;

// Splits at blanks; runs of blanks count as one, and more than one blank line as one.
// Punctuation that stands alone after a blank ("word ,") joins the word before it.
Chunks splitChunks(std::string_view text);

// The pieces with one space between words and nothing around line breaks.
std::string joinChunks(const Chunks& chunks);

// The word in ASCII lower case, with a typographic apostrophe read as a plain one.
std::string foldedWord(const Chunk& chunk);

// Whether `trail` ends a sentence: it holds a full stop, question or exclamation mark.
bool endsSentence(std::string_view trail);

// `word` with its first letter in upper case (any script), the rest untouched.
std::string withCapitalFirstLetter(std::string_view word);

// Whether the word has letters and all of them are upper case, as in "NASA".
bool isAllCapitals(std::string_view word);

}  // namespace murvel::cloud
