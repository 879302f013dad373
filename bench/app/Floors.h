#pragma once

#include <filesystem>

#include "LoopbackService.h"
#include "Samples.h"

namespace murvel::bench {

// Release to first byte's floor: a bare libcurl POST of the recording from its file, on a
// connection that is already open; milliseconds from starting it to the service's first byte.
Samples bareCurlFloor(LoopbackService& service, const std::filesystem::path& recording, int runs);

// The same upload through the app's own network sessions, resumed on a connection that an upload
// before it has opened: what the session's worker adds to the bare floor.
Samples appSessionUploads(LoopbackService& service, const std::filesystem::path& recording,
                          int runs);

}  // namespace murvel::bench
