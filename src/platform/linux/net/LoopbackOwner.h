#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace murvel::linux_platform {

// One end of a TCP connection as libcurl reports it: a numeric address and a port.
struct Endpoint {
  std::string address;
  int port = 0;
};

// Whether `address` is this computer's own (127.0.0.0/8, ::1, or either mapped into the other):
// every user of the computer may be listening there.
bool isLoopbackAddress(std::string_view address);

// The user who owns the server's end of the TCP connection from `client` to `server`, asked of
// the kernel; nothing if it knows no such connection in this network namespace.
std::optional<uid_t> loopbackConnectionOwner(const Endpoint& server, const Endpoint& client);

}  // namespace murvel::linux_platform
