#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace murvel::cloud {

// What cleanup does to a transcript. `smart` works by fixed rules over words and punctuation;
// there is no language model behind it.
enum class CleanupMode { off, fast, smart };

// The register `smart` writes in: `automatic` is the tone called "auto".
enum class Tone { automatic, casual, formal, bullets };

// The mode or tone named, read without regard to case or surrounding blanks; nothing when the
// name is none of them.
std::optional<CleanupMode> cleanupModeNamed(std::string_view name);
std::optional<Tone> toneNamed(std::string_view name);
std::string nameOf(CleanupMode mode);
std::string nameOf(Tone tone);

// What a request asked for, as the service carries it out: a missing or unknown mode is `off`,
// so the text comes back untouched; a missing or unknown tone is `auto`.
struct CleanupChoice {
  CleanupMode mode = CleanupMode::off;
  Tone tone = Tone::automatic;

  friend bool operator==(const CleanupChoice&, const CleanupChoice&) = default;
};
CleanupChoice cleanupChoice(std::optional<std::string_view> mode,
                            std::optional<std::string_view> tone);

// The text as the choice makes it: `off` gives it back as it came; `fast` takes out fillers
// ("um", "uh", "you know" and "I mean" set off as asides, and the like) and stuttered words and
// tidies spacing and capitals, changing no other word; `smart` does the same and then writes the
// text in the tone. The result may be empty when the text held nothing but fillers.
std::string cleanedText(std::string_view text, CleanupChoice choice);

}  // namespace murvel::cloud
