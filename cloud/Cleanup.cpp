#include "cloud/Cleanup.h"

#include "cloud/CleanupRules.h"

namespace murvel::cloud {

namespace {

std::string foldedName(std::string_view name) {
  const auto blank = [](char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
  };
  while (!name.empty() && blank(name.front())) name.remove_prefix(1);
  while (!name.empty() && blank(name.back())) name.remove_suffix(1);
  std::string folded(name);
  for (char& c : folded) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  return folded;
}

}  // namespace

std::optional<CleanupMode> cleanupModeNamed(std::string_view name) {
  const std::string folded = foldedName(name);
  if (folded == "off")
    return CleanupMode::off;
  if (folded == "fast")
    return CleanupMode::fast;
  if (folded == "smart")
    return CleanupMode::smart;
  return std::nullopt;
}

std::optional<Tone> toneNamed(std::string_view name) {
  const std::string folded = foldedName(name);
  if (folded == "auto")
    return Tone::automatic;
  if (folded == "casual")
    return Tone::casual;
  if (folded == "formal")
    return Tone::formal;
  if (folded == "bullets")
    return Tone::bullets;
  return std::nullopt;
}

std::string nameOf(CleanupMode mode) {
  switch (mode) {
    case CleanupMode::fast:
      return "fast";
    case CleanupMode::smart:
      return "smart";
    case CleanupMode::off:
      break;
  }
  return "off";
}

std::string nameOf(Tone tone) {
  switch (tone) {
    case Tone::casual:
      return "casual";
    case Tone::formal:
      return "formal";
    case Tone::bullets:
      return "bullets";
    case Tone::automatic:
      break;
  }
  return "auto";
}

CleanupChoice cleanupChoice(std::optional<std::string_view> mode,
                            std::optional<std::string_view> tone) {
  CleanupChoice choice;
  if (mode)
    choice.mode = cleanupModeNamed(*mode).value_or(CleanupMode::off);
  if (tone)
    choice.tone = toneNamed(*tone).value_or(Tone::automatic);
  return choice;
}

std::string cleanedText(std::string_view text, CleanupChoice choice) {
  if (choice.mode == CleanupMode::off)
    return std::string(text);
  Chunks chunks = splitChunks(text);
  rules::removeFillers(chunks);
  rules::removeStutters(chunks);
  rules::tidyPunctuation(chunks);
  if (choice.mode == CleanupMode::smart) {
    switch (choice.tone) {
      case Tone::formal:
        rules::useFullForms(chunks);
        break;
      case Tone::casual:
        rules::useContractions(chunks);
        break;
      case Tone::bullets: {
        std::string list;
        for (Chunks& point : rules::listPoints(chunks)) {
          rules::capitalise(point);
          const std::string line = joinChunks(point);
          if (line.empty())
            continue;
          if (!list.empty())
            list += '\n';
          list += "- " + line;
        }
        return list;
      }
      case Tone::automatic:
        break;
    }
    rules::closeSentences(chunks, choice.tone != Tone::casual);
    rules::tidyPunctuation(chunks);
  }
  rules::capitalise(chunks);
  return joinChunks(chunks);
}

}  // namespace murvel::cloud
