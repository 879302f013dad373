#pragma once

#include <string_view>

namespace murvel {

// Words are the non-empty pieces between blanks (U+0020); newlines and tabs do not separate.
long long murvelWordCount(std::string_view text);

// Words per minute over a recording of `duration` seconds, truncated toward zero; 0 without a
// duration.
long long murvelWordsPerMinute(long long words, double duration);

}  // namespace murvel
