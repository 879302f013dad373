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

// Whether the text may pause before `chunk`, with `kept` the text before it: its start, a line's
// start, or punctuation.
bool boundaryBefore(const Chunks& kept, const Chunk& chunk, const std::string& carriedLead) {
  if (!chunk.lead.empty() || !carriedLead.empty())
    return false;
  if (kept.empty() || kept.back().lineBreak)
    return true;
  const std::string& trail = kept.back().trail;
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

// How many chunks from `i` on make a filler; 0 for none.
std::size_t fillerLength(const Chunks& kept, const Chunks& chunks, std::size_t i,
                         const std::string& carriedLead) {
  if (isOneOf(foldedWord(chunks[i]), hesitations))
    return 1;
  for (const auto& phrase : asides) {
    if (spells(chunks, i, phrase) && boundaryBefore(kept, chunks[i], carriedLead) &&
        boundaryAfter(chunks, i + phrase.size() - 1))
      return phrase.size();
  }
  return 0;
}

// Drops the filler that ends with `last`, handing on what punctuation the sentence still needs
// to the chunk kept before it.
void dropFiller(Chunks& kept, const Chunk& last) {
  const bool commaAfter = last.trail.find(',') != std::string::npos;
  const std::string rest = withoutCommas(last.trail);
  if (kept.empty() || kept.back().lineBreak)
    return;
  Chunk& before = kept.back();
  // The commas that set the filler off go with it.
  if (endsWithComma(before.trail) && (commaAfter || !rest.empty()))
    before.trail.pop_back();
  before.trail += rest;
}

}  // namespace

// Each rule builds the kept chunks in one pass: erasing in place would make a long text of
// fillers cost the square of its length.
void removeFillers(Chunks& chunks) {
  Chunks kept;
  kept.reserve(chunks.size());
  // The opening punctuation of fillers dropped since the last kept word, which it now opens.
  std::string carriedLead;
  for (std::size_t i = 0; i < chunks.size();) {
    Chunk& chunk = chunks[i];
    if (chunk.lineBreak) {
      carriedLead.clear();
      // Lines that held nothing but fillers leave no more than a paragraph break behind.
      const bool extraBreak =
          kept.empty() || (kept.size() >= 2 && kept.back().lineBreak && kept.end()[-2].lineBreak);
      if (!extraBreak)
        kept.push_back(std::move(chunk));
      ++i;
      continue;
    }
    const std::size_t length = fillerLength(kept, chunks, i, carriedLead);
    if (length == 0) {
      chunk.lead.insert(0, carriedLead);
      carriedLead.clear();
      kept.push_back(std::move(chunk));
      ++i;
      continue;
    }
    carriedLead += chunk.lead;
    dropFiller(kept, chunks[i + length - 1]);
    i += length;
  }
  while (!kept.empty() && kept.back().lineBreak) kept.pop_back();
  chunks = std::move(kept);
}

void removeStutters(Chunks& chunks) {
  Chunks kept;
  kept.reserve(chunks.size());
  for (Chunk& chunk : chunks) {
    if (!kept.empty()) {
      Chunk& first = kept.back();
      const std::string word = foldedWord(first);
      if (!first.lineBreak && !chunk.lineBreak && first.trail.empty() && chunk.lead.empty() &&
          isOneOf(word, stutterWords) && foldedWord(chunk) == word) {
        // The first of the two keeps its place and its spelling, the second's punctuation.
        first.trail = std::move(chunk.trail);
        continue;
      }
    }
    kept.push_back(std::move(chunk));
  }
  chunks = std::move(kept);
}

void tidyPunctuation(Chunks& chunks) {
  Chunks kept;
  kept.reserve(chunks.size());
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    Chunk& chunk = chunks[i];
    const bool lineStart = kept.empty() || kept.back().lineBreak;
    // Punctuation that closes nothing at the start of a line.
    if (!chunk.lineBreak && chunk.word.empty() && chunk.lead.empty() && lineStart)
      continue;
    std::string& trail = chunk.trail;
    if (trail.find_first_of(".!?;") != std::string::npos)
      trail = withoutCommas(trail);
    std::string single;
    for (const char c : trail) {
      if (c != ',' || single.empty() || single.back() != ',')
        single += c;
    }
    trail = std::move(single);
    const bool lineEnd = i + 1 == chunks.size() || chunks[i + 1].lineBreak;
    while (lineEnd && !trail.empty() &&
           std::string_view(",;:").find(trail.back()) != std::string_view::npos)
      trail.pop_back();
    kept.push_back(std::move(chunk));
  }
  chunks = std::move(kept);
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
