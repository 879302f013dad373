#include "cloud/WordErrorRate.h"

#include <algorithm>

namespace murvel::cloud {

std::vector<std::string> scoredWords(std::string_view text) {
  std::vector<std::string> words;
  std::string word;
  const auto finish = [&] {
    while (!word.empty() && word.back() == '\'') word.pop_back();
    while (!word.empty() && word.front() == '\'') word.erase(word.begin());
    if (!word.empty())
      words.push_back(word);
    word.clear();
  };
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '\'' || byte >= 0x80)
      word += c;
    else if (c >= 'A' && c <= 'Z')
      word += static_cast<char>(c - 'A' + 'a');
    else
      finish();
  }
  finish();
  return words;
}

WordErrors wordErrors(const std::vector<std::string>& reference,
                      const std::vector<std::string>& hypothesis) {
  // One row of the edit-distance table at a time.
  std::vector<std::size_t> previous(hypothesis.size() + 1);
  std::vector<std::size_t> current(hypothesis.size() + 1);
  for (std::size_t j = 0; j <= hypothesis.size(); ++j) previous[j] = j;
  for (std::size_t i = 1; i <= reference.size(); ++i) {
    current[0] = i;
    for (std::size_t j = 1; j <= hypothesis.size(); ++j) {
      const std::size_t substitution =
          previous[j - 1] + (reference[i - 1] == hypothesis[j - 1] ? 0 : 1);
      current[j] = std::min({substitution, previous[j] + 1, current[j - 1] + 1});
    }
    std::swap(previous, current);
  }
  return WordErrors{previous[hypothesis.size()], reference.size()};
}

}  // namespace murvel::cloud
