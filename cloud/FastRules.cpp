#include <algorithm>
#include <array>
#include <string_view>

#include "cloud/CleanupRules.h"

namespace murvel::cloud::rules {

namespace {

// Sounds that carry no word: removed wherever they stand.
constexpr std::string_view hesitations[]{"um",  "umm", "uh",  "uhh",   "uhm",  "er",
                                         "erm", "ah",  "ahh", "hmm",   "hmmm", "hm",
                                         "mm",  "mmm", "mhm", "uh-huh"};

// Phrases that are fillers only when set off as an aside: "you know, it works" loses them,
// "do you know it" keeps them.
const std::vector<std::vector<std::string_view>> asides{{"you", "know"}, {"i", "mean"}, {"like"}};

// Short words whose doubling is a stutter, never the grammar ("had had", "that that" are left).
constexpr std::string_view stutterWords[]{"i",   "the",  "a",  "an", "to",  "and", "of",
                                          "in",  "on",   "at", "we", "it",  "you", "he",
                                          "she", "they", "my", "so", "but", "or",  "for"};

// Abbreviations whose full stop does not end a sentence.
constexpr std::string_view abbreviations[]{"e.g", "i.e", "vs",   "mr", "mrs",
                                           "ms",  "dr",  "prof", "st", "cf"};

template <class Set>
bool isOneOf(std::string_view word, const Set& set) {
  return std::ranges::find(set, word) != std::ranges::end(set);
}

bool endsWithComma(std::string_view trail) {
  return !trail.empty() && trail.back() == ',';
}

std::string withoutCommas(std::string_view trail) {
  std::string kept;
  for (const char c : trail) {
    if (c != ',')
      kept += c;
  }
  return kept;
}

// Whether the text may pause before `index`: its start, a line's start, or punctuation.
bool boundaryBefore(const Chunks& chunks, std::size_t index) {
  if (!chunks[index].lead.empty())
    return false;
  if (index == 0 || chunks[index - 1].lineBreak)
    return true;
  const std::string& trail = chunks[index - 1].trail;
  return !trail.empty() && std::string_view(",.!?;:").find(trail.back()) != std::string_view::npos;
}

// Whether the text pauses after `last`: punctuation, a line's end or the end.
bool boundaryAfter(const Chunks& chunks, std::size_t last) {
  if (!chunks[last].trail.empty())
    return true;
  return last + 1 == chunks.size() || chunks[last + 1].lineBreak;
}

// Whether chunks from `first` on spell `phrase` with nothing between its words.
bool spells(const Chunks& chunks, std::size_t first, const std::vector<std::string_view>& phrase) {
  if (first + phrase.size() > chunks.size())
    return false;
  for (std::size_t i = 0; i < phrase.size(); ++i) {
    const Chunk& chunk = chunks[first + i];
    if (chunk.lineBreak || foldedWord(chunk) != phrase[i])
      return false;
    if (i > 0 && !chunk.lead.empty())
      return false;
    if (i + 1 < phrase.size() && !chunk.trail.empty())
      return false;
  }
  return true;
}

// Removes the filler in [first, last], handing on what punctuation the sentence still needs.
void removeFiller(Chunks& chunks, std::size_t first, std::size_t last) {
  const bool commaAfter = chunks[last].trail.find(',') != std::string::npos;
  const std::string rest = withoutCommas(chunks[last].trail);
  const std::string lead = chunks[first].lead;
  const bool hasBefore = first > 0 && !chunks[first - 1].lineBreak;
  if (hasBefore) {
    Chunk& before = chunks[first - 1];
    // The commas that set the filler off go with it.
    if (endsWithComma(before.trail) && (commaAfter || !rest.empty()))
      before.trail.pop_back();
    before.trail += rest;
  }
  chunks.erase(chunks.begin() + static_cast<std::ptrdiff_t>(first),
               chunks.begin() + static_cast<std::ptrdiff_t>(last) + 1);
  if (first < chunks.size() && !chunks[first].lineBreak)
    chunks[first].lead = lead + chunks[first].lead;
}

}  // namespace

void removeFillers(Chunks& chunks) {
  std::size_t i = 0;
  while (i < chunks.size()) {
    if (chunks[i].lineBreak) {
      ++i;
      continue;
    }
    if (isOneOf(foldedWord(chunks[i]), hesitations)) {
      removeFiller(chunks, i, i);
      continue;
    }
    bool removed = false;
    for (const auto& phrase : asides) {
      const std::size_t last = i + phrase.size() - 1;
      if (spells(chunks, i, phrase) && boundaryBefore(chunks, i) && boundaryAfter(chunks, last)) {
        removeFiller(chunks, i, last);
        removed = true;
        break;
      }
    }
    if (!removed)
      ++i;
  }
  // Lines that held nothing but fillers leave no more than a paragraph break behind.
  for (std::size_t at = 0; at < chunks.size();) {
    const bool extraBreak =
        chunks[at].lineBreak &&
        (at == 0 || (at >= 2 && chunks[at - 1].lineBreak && chunks[at - 2].lineBreak));
    if (extraBreak)
      chunks.erase(chunks.begin() + static_cast<std::ptrdiff_t>(at));
    else
      ++at;
  }
  while (!chunks.empty() && chunks.back().lineBreak) chunks.pop_back();
}

void removeStutters(Chunks& chunks) {
  for (std::size_t i = 0; i + 1 < chunks.size();) {
    Chunk& first = chunks[i];
    Chunk& second = chunks[i + 1];
    const std::string word = foldedWord(first);
    if (!first.lineBreak && !second.lineBreak && first.trail.empty() && second.lead.empty() &&
        isOneOf(word, stutterWords) && foldedWord(second) == word) {
      second.lead = first.lead;
      second.word = first.word;
      chunks.erase(chunks.begin() + static_cast<std::ptrdiff_t>(i));
      continue;
    }
    ++i;
  }
}

void tidyPunctuation(Chunks& chunks) {
  for (std::size_t i = 0; i < chunks.size();) {
    Chunk& chunk = chunks[i];
    const bool lineStart = i == 0 || chunks[i - 1].lineBreak;
    // Punctuation that closes nothing at the start of a line.
    if (!chunk.lineBreak && chunk.word.empty() && chunk.lead.empty() && lineStart) {
      chunks.erase(chunks.begin() + static_cast<std::ptrdiff_t>(i));
      continue;
    }
    std::string& trail = chunk.trail;
    if (trail.find_first_of(".!?;") != std::string::npos)
      trail = withoutCommas(trail);
    for (std::size_t at; (at = trail.find(",,")) != std::string::npos;) trail.erase(at, 1);
    const bool lineEnd = i + 1 == chunks.size() || chunks[i + 1].lineBreak;
    while (lineEnd && !trail.empty() &&
           std::string_view(",;:").find(trail.back()) != std::string_view::npos)
      trail.pop_back();
    ++i;
  }
}

void capitalise(Chunks& chunks) {
  bool sentenceStart = true;
  for (Chunk& chunk : chunks) {
    if (chunk.lineBreak) {
      sentenceStart = true;
      continue;
    }
    const std::string word = foldedWord(chunk);
    if (word == "i" || word.starts_with("i'"))
      chunk.word[0] = 'I';
    const bool looksLikeAnAddress = word.find('@') != std::string::npos ||
                                    word.find("://") != std::string::npos ||
                                    word.starts_with("www.");
    if (sentenceStart && !chunk.word.empty()) {
      if (!looksLikeAnAddress)
        chunk.word = withCapitalFirstLetter(chunk.word);
      sentenceStart = false;
    }
    if (endsSentence(chunk.trail) && !isOneOf(word, abbreviations))
      sentenceStart = true;
  }
}

}  // namespace murvel::cloud::rules
