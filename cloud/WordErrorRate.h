#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace murvel::cloud {

// The words of a text as recognition is scored: ASCII lower case, without punctuation and list
// marks; apostrophes inside words stay ("don't").
std::vector<std::string> scoredWords(std::string_view text);

// Word errors of a hypothesis against a reference: the fewest substitutions, deletions and
// insertions that turn one into the other.
struct WordErrors {
  std::size_t errors = 0;
  std::size_t referenceWords = 0;

  double rate() const {
    return referenceWords == 0 ? 0.0
                               : static_cast<double>(errors) / static_cast<double>(referenceWords);
  }
  friend bool operator==(const WordErrors&, const WordErrors&) = default;
};
WordErrors wordErrors(const std::vector<std::string>& reference,
                      const std::vector<std::string>& hypothesis);

}  // namespace murvel::cloud
