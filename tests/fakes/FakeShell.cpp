#include "fakes/FakeShell.h"

#include <cstdio>

namespace murvel::testing {

std::string FakeDateFormatter::shortTimeString(Date date) {
  const auto minutes = static_cast<long long>(unixSeconds(date)) / 60;
  char text[16];
  std::snprintf(text, sizeof text, "%lld:%02lld", (minutes / 60) % 24, minutes % 60);
  return text;
}

}  // namespace murvel::testing
