#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace murvel::linux_platform {

// A URL handed from one Murvel process to the running one is one line of text. Whatever arrives
// is untrusted: anything that isn't a short, printable, UTF-8 murvel: URL is dropped.
inline constexpr std::size_t maxUrlMessageLength = 4096;

// The URL itself, if `text` is acceptable as one.
std::optional<std::string> acceptedMurvelUrl(std::string_view text);

// Overwrites, in place, every argument that is a murvel: URL (in any case), so that a login
// token in it is no longer readable by other processes (/proc/<pid>/cmdline). Call it once the
// arguments have been read.
void eraseMurvelUrlArguments(int argc, char** argv);

}  // namespace murvel::linux_platform
