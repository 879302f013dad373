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

// The user who owns the server's end of the connection from `client` to `server`, read from a
// table in the format of /proc/net/tcp or /proc/net/tcp6; nothing if no row is that connection.
std::optional<uid_t> connectionOwnerIn(std::string_view table, const Endpoint& server,
                                       const Endpoint& client);

// The same, from the kernel's tables of this network namespace.
std::optional<uid_t> loopbackConnectionOwner(const Endpoint& server, const Endpoint& client);

}  // namespace murvel::linux_platform
