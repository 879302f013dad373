#pragma once

#include <cstdio>
#include <cstdlib>

namespace murvel::fuzzing {

// A broken promise of the system: reported, and the input kept by the fuzzer.
[[noreturn]] inline void violated(const char* what) {
  std::fprintf(stderr, "violated: %s\n", what);
  std::abort();
}

}  // namespace murvel::fuzzing
