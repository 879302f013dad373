#pragma once

namespace murvel::linux_platform {

// Initialises libcurl for the whole process, once; later calls do nothing. Call it before the
// first session starts its thread.
void ensureCurlGlobalInit();

}  // namespace murvel::linux_platform
