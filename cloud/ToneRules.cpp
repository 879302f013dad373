#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string_view>

#include "cloud/CleanupRules.h"

namespace murvel::cloud::rules {

namespace {

template <class Set>
bool isOneOf(std::string_view word, const Set& set) {
  return std::ranges::find(set, word) != std::ranges::end(set);
}

// `replacement` written the way `original` was: all in capitals, or with a capital first
// letter, or as it stands.
std::string inCaseOf(std::string_view original, std::string_view replacement) {
  std::string written(replacement);
  if (original.size() > 1 && isAllCapitals(original)) {
    for (char& c : written) c = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
    return written;
  }
  if (!original.empty() && original.front() >= 'A' && original.front() <= 'Z')
    return withCapitalFirstLetter(written);
  return written;
}

bool isWord(const Chunks& chunks, std::size_t index) {
  return index < chunks.size() && !chunks[index].lineBreak;
}

std::string foldedAt(const Chunks& chunks, std::size_t index) {
  return isWord(chunks, index) ? foldedWord(chunks[index]) : std::string();
}

// Whether nothing of the sentence follows the chunk at `index`.
bool endsItsSentence(const Chunks& chunks, std::size_t index) {
  return endsSentence(chunks[index].trail) || !isWord(chunks, index + 1);
}

// Informal words and contractions that stand for a fixed full form.
const std::map<std::string_view, std::string_view>& fullFormsOfWords() {
  static const std::map<std::string_view, std::string_view> forms{
      {"can't", "cannot"},   {"won't", "will not"},    {"shan't", "shall not"},
      {"ain't", "is not"},   {"let's", "let us"},      {"y'all", "you all"},
      {"gonna", "going to"}, {"wanna", "want to"},     {"gotta", "have to"},
      {"kinda", "kind of"},  {"sorta", "sort of"},     {"lemme", "let me"},
      {"gimme", "give me"},  {"dunno", "do not know"}, {"yeah", "yes"},
      {"yep", "yes"},        {"yup", "yes"},           {"nope", "no"},
      {"nah", "no"},         {"thanks", "thank you"},  {"hey", "hello"},
      {"hi", "hello"}};
  return forms;
}

constexpr std::string_view notBases[]{"do",     "does", "did",  "is",    "are",   "was",
                                      "were",   "has",  "have", "had",   "would", "could",
                                      "should", "must", "need", "might", "dare"};
constexpr std::string_view isContractingWords[]{"it",  "that", "there", "here", "what", "where",
                                                "who", "how",  "he",    "she",  "this"};
// Words after which a contracted "has" or "had" reads as such rather than "is" or "would".
constexpr std::string_view participles[]{"been",  "got",  "gotten", "gone",   "had",
                                         "done",  "seen", "taken",  "better", "already",
                                         "never", "just", "made"};

// The full form of one contracted word, given the word after it; nothing if it has none.
std::optional<std::string> fullForm(const std::string& word, const std::string& next) {
  const auto& forms = fullFormsOfWords();
  if (auto found = forms.find(word); found != forms.end())
    return std::string(found->second);
  const auto stem = [&](std::size_t suffix) {
    return word.substr(0, word.size() - suffix);
  };
  if (word.ends_with("n't") && isOneOf(stem(3), notBases))
    return stem(3) + " not";
  if (word.size() > 3 && word.ends_with("'re"))
    return stem(3) + " are";
  if (word.size() > 3 && word.ends_with("'ve"))
    return stem(3) + " have";
  if (word.size() > 3 && word.ends_with("'ll"))
    return stem(3) + " will";
  if (word == "i'm")
    return std::string("i am");
  if (word.size() > 2 && word.ends_with("'d"))
    return stem(2) + (isOneOf(next, participles) ? " had" : " would");
  if (word.ends_with("'s") && isOneOf(stem(2), isContractingWords))
    return stem(2) + (isOneOf(next, participles) ? " has" : " is");
  return std::nullopt;
}

// The contraction of two words, given the word after them; nothing if they have none.
std::optional<std::string> contraction(const std::string& first, const std::string& second,
                                       const std::string& third, bool secondEndsSentence) {
  if (second == "not") {
    if (first == "will")
      return std::string("won't");
    if (first == "can")
      return std::string("can't");
    if (isOneOf(first, notBases) && first != "might" && first != "dare")
      return first + "n't";
    return std::nullopt;
  }
  if (first == "thank" && second == "you")
    return std::string("thanks");
  // "I know what it is" keeps its full verb: a contraction cannot end a clause.
  if (secondEndsSentence)
    return std::nullopt;
  constexpr std::string_view areSubjects[]{"you", "we", "they"};
  constexpr std::string_view willSubjects[]{"i", "you", "we", "they", "he", "she", "it", "that"};
  if (second == "am" && first == "i")
    return std::string("i'm");
  if (second == "are" && isOneOf(first, areSubjects))
    return first + "'re";
  if (second == "is" && isOneOf(first, isContractingWords) && first != "this")
    return first + "'s";
  // "I will not" becomes "I won't", never "I'll not".
  if (second == "will" && isOneOf(first, willSubjects) && third != "not")
    return first + "'ll";
  if (second == "have" && (first == "i" || isOneOf(first, areSubjects)) &&
      isOneOf(third, participles)) {
    return first + "'ve";
  }
  return std::nullopt;
}

constexpr std::string_view auxiliaries[]{
    "is",     "are",   "am",       "was",   "were",     "do",        "does",    "did",
    "can",    "could", "will",     "would", "shall",    "should",    "may",     "might",
    "have",   "has",   "had",      "isn't", "aren't",   "wasn't",    "weren't", "doesn't",
    "didn't", "can't", "couldn't", "won't", "wouldn't", "shouldn't", "haven't"};
constexpr std::string_view subjects[]{
    "i",       "you",      "we",       "they",  "he",    "she",  "it",     "there",
    "this",    "that",     "these",    "those", "the",   "a",    "an",     "my",
    "your",    "our",      "their",    "his",   "her",   "its",  "anyone", "anybody",
    "someone", "somebody", "everyone", "mine",  "yours", "ours", "theirs", "hers"};
constexpr std::string_view personalSubjects[]{"i", "you", "we", "they", "he", "she", "it"};

// Whether a sentence that begins with `words` (the first few, folded) reads as a question.
bool readsAsQuestion(const std::vector<std::string>& words) {
  const auto at = [&](std::size_t i) {
    return i < words.size() ? words[i] : std::string();
  };
  const std::string first = at(0);
  const std::string second = at(1);
  if (first == "why")
    return true;
  if (first == "do" || first == "don't")
    return isOneOf(second, personalSubjects) && second != "it";
  if (isOneOf(first, auxiliaries))
    return isOneOf(second, subjects);
  constexpr std::string_view interrogatives[]{"what", "when",  "where", "how",
                                              "who",  "whose", "which"};
  if (!isOneOf(first, interrogatives))
    return false;
  if (second.empty() || second == "about" || second == "if" ||
      (first == "how" && second == "come")) {
    return true;
  }
  // "what is", "which train is the", "how many people are there": an auxiliary soon after the
  // question word, and a subject after it. "When I get home" and "what you need is rest" have
  // none of that.
  for (std::size_t i = 1; i <= 3; ++i) {
    if (isOneOf(at(i), auxiliaries))
      return i == 1 || at(i + 1).empty() || isOneOf(at(i + 1), subjects);
  }
  // "who called", "which one": a question word that is itself the subject.
  return (first == "who" || first == "which") && !isOneOf(second, personalSubjects);
}

// Where the list-marking word or phrase at `index` ends (one past it), if one begins there.
std::optional<std::size_t> listCueEnd(const Chunks& chunks, std::size_t index) {
  static const std::vector<std::vector<std::string_view>> phrases{
      {"first", "of", "all"}, {"after", "that"}, {"on", "top", "of", "that"}};
  constexpr std::string_view words[]{"first",   "firstly",      "second",     "secondly", "third",
                                     "thirdly", "fourth",       "fifth",      "next",     "also",
                                     "finally", "additionally", "afterwards", "lastly",   "plus"};
  for (const auto& phrase : phrases) {
    bool matches = index + phrase.size() <= chunks.size();
    for (std::size_t i = 0; matches && i < phrase.size(); ++i) {
      matches = isWord(chunks, index + i) && foldedWord(chunks[index + i]) == phrase[i] &&
                (i + 1 == phrase.size() || chunks[index + i].trail.empty());
    }
    if (matches)
      return index + phrase.size();
  }
  if (isOneOf(foldedAt(chunks, index), words))
    return index + 1;
  return std::nullopt;
}

bool isListMarker(const Chunk& chunk) {
  constexpr std::string_view markers[]{"-", "*", "\u2022", "\u2013", "\u2014"};
  if (isOneOf(chunk.word, markers))
    return true;
  const bool digits =
      !chunk.word.empty() && std::all_of(chunk.word.begin(), chunk.word.end(),
                                         [](char c) { return c >= '0' && c <= '9'; });
  return digits && (chunk.trail == "." || chunk.trail == ")");
}

}  // namespace

void useFullForms(Chunks& chunks) {
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    if (chunks[i].lineBreak)
      continue;
    if (auto full = fullForm(foldedWord(chunks[i]), foldedAt(chunks, i + 1)))
      chunks[i].word = inCaseOf(chunks[i].word, *full);
  }
}

void useContractions(Chunks& chunks) {
  // Merged pairs are compacted in one pass, since erasing each would cost the square of a long
  // text's length: the chunks before `kept` are done, the one at `i` is being read.
  std::size_t kept = 0;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    while (!chunks[i].lineBreak) {
      const std::string first = foldedWord(chunks[i]);
      if (first == "cannot") {
        chunks[i].word = inCaseOf(chunks[i].word, "can't");
        break;
      }
      if (!isWord(chunks, i + 1) || !chunks[i].trail.empty() || !chunks[i + 1].lead.empty())
        break;
      const std::string second = foldedWord(chunks[i + 1]);
      const bool secondEnds = !chunks[i + 1].trail.empty() || endsItsSentence(chunks, i + 1);
      const auto short_ = contraction(first, second, foldedAt(chunks, i + 2), secondEnds);
      if (!short_)
        break;
      // "it is not" becomes "it's not": the merged word is looked at again with the next.
      chunks[i + 1].word = inCaseOf(chunks[i].word, *short_);
      chunks[i + 1].lead = std::move(chunks[i].lead);
      ++i;
    }
    if (kept != i)
      chunks[kept] = std::move(chunks[i]);
    ++kept;
  }
  chunks.resize(kept);
}

void closeSentences(Chunks& chunks, bool closeLast) {
  std::size_t start = 0;
  while (start < chunks.size()) {
    if (chunks[start].lineBreak) {
      ++start;
      continue;
    }
    std::size_t last = start;
    while (!endsItsSentence(chunks, last)) ++last;
    Chunk& end = chunks[last];
    if (!endsSentence(end.trail)) {
      while (!end.trail.empty() &&
             std::string_view(",;:").find(end.trail.back()) != std::string_view::npos)
        end.trail.pop_back();
      std::vector<std::string> opening;
      for (std::size_t i = start; i <= last && opening.size() < 5; ++i)
        opening.push_back(foldedWord(chunks[i]));
      const bool question = readsAsQuestion(opening);
      const bool lastOfText = last + 1 >= chunks.size();
      if (question)
        end.trail += '?';
      else if (closeLast || !lastOfText)
        end.trail += '.';
    }
    start = last + 1;
  }
}

std::vector<Chunks> listPoints(const Chunks& chunks) {
  std::vector<Chunks> points;
  Chunks point;
  const auto finish = [&] {
    point.erase(point.begin(), std::ranges::find_if(
                                   point, [](const Chunk& chunk) { return !chunk.word.empty(); }));
    if (!point.empty()) {
      std::string& trail = point.back().trail;
      while (!trail.empty() &&
             std::string_view(".,;:").find(trail.back()) != std::string_view::npos)
        trail.pop_back();
      points.push_back(std::move(point));
    }
    point.clear();
  };
  constexpr std::string_view timeWords[]{"by",   "since", "until", "till", "back",
                                         "just", "only",  "even",  "from"};
  constexpr std::string_view conditions[]{"if", "when", "once", "whenever"};

  for (std::size_t i = 0; i < chunks.size();) {
    const Chunk& chunk = chunks[i];
    if (chunk.lineBreak) {
      finish();
      ++i;
      continue;
    }
    const std::string word = foldedWord(chunk);
    const bool atStart = point.empty();
    if (atStart && isListMarker(chunk)) {
      ++i;
      continue;
    }
    const bool afterPause = i > 0 && !chunks[i - 1].lineBreak && !chunks[i - 1].trail.empty();
    // "and then", "and finally": a new point; the words go.
    if (word == "and" && chunk.trail.empty() && isWord(chunks, i + 1) &&
        chunks[i + 1].lead.empty()) {
      if (foldedAt(chunks, i + 1) == "then") {
        finish();
        i += 2;
        continue;
      }
      if (auto end = listCueEnd(chunks, i + 1)) {
        finish();
        i = *end;
        continue;
      }
    }
    if (atStart || afterPause) {
      if (auto end = listCueEnd(chunks, i)) {
        finish();
        i = *end;
        continue;
      }
    }
    if (word == "then") {
      const bool conditional = !point.empty() && isOneOf(foldedWord(point.front()), conditions);
      const std::string before = point.empty() ? std::string() : foldedWord(point.back());
      if (atStart || (!conditional && !isOneOf(before, timeWords))) {
        finish();
        ++i;
        continue;
      }
    }
    point.push_back(chunk);
    if (endsSentence(chunk.trail) || chunk.trail.find(';') != std::string::npos)
      finish();
    ++i;
  }
  finish();
  return points;
}

}  // namespace murvel::cloud::rules
