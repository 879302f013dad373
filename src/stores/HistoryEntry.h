#pragma once

#include <string>

#include "platform/Date.h"

namespace murvel {

// One delivered dictation, as the history keeps it.
struct HistoryEntry {
  std::string text;
  Date date;
  double duration = 0;
  long long wordCount = 0;

  friend bool operator==(const HistoryEntry&, const HistoryEntry&) = default;
};

}  // namespace murvel
