#include "platform/linux/net/LoopbackOwner.h"

#include <arpa/inet.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace murvel::linux_platform {

namespace {

// The kernel prints an address as 32-bit words in the computer's own byte order, each as eight
// hex digits, and the port as four: the form to compare rows against.
std::optional<std::string> tableForm(const Endpoint& endpoint) {
  std::array<unsigned char, 16> bytes{};
  std::size_t length = 0;
  if (inet_pton(AF_INET, endpoint.address.c_str(), bytes.data()) == 1) {
    length = 4;
  } else if (inet_pton(AF_INET6, endpoint.address.c_str(), bytes.data()) == 1) {
    length = 16;
  } else {
    return std::nullopt;
  }
  std::string form;
  for (std::size_t word = 0; word < length; word += 4) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + word, sizeof value);
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08X", static_cast<unsigned>(value));
    form += digits;
  }
  char port[6];
  std::snprintf(port, sizeof port, "%04X", static_cast<unsigned>(endpoint.port & 0xFFFF));
  return form + ":" + port;
}

std::string readWhole(const char* path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

bool isLoopbackAddress(std::string_view address) {
  in_addr v4{};
  in6_addr v6{};
  const std::string text(address);
  if (inet_pton(AF_INET, text.c_str(), &v4) == 1)
    return (ntohl(v4.s_addr) >> 24) == 127;
  if (inet_pton(AF_INET6, text.c_str(), &v6) != 1)
    return false;
  if (IN6_IS_ADDR_LOOPBACK(&v6))
    return true;
  return IN6_IS_ADDR_V4MAPPED(&v6) && v6.s6_addr[12] == 127;
}

std::optional<uid_t> connectionOwnerIn(std::string_view table, const Endpoint& server,
                                       const Endpoint& client) {
  const std::optional<std::string> local = tableForm(server);
  const std::optional<std::string> remote = tableForm(client);
  if (!local || !remote)
    return std::nullopt;
  std::istringstream rows{std::string(table)};
  std::string row;
  while (std::getline(rows, row)) {
    // sl local_address rem_address st tx_queue:rx_queue tr:tm->when retrnsmt uid ...
    std::istringstream fields(row);
    std::string slot, localField, remoteField, state, queues, timer, retransmits, uid;
    if (!(fields >> slot >> localField >> remoteField >> state >> queues >> timer >> retransmits >>
          uid))
      continue;
    if (localField != *local || remoteField != *remote)
      continue;
    uid_t owner = 0;
    const auto [end, error] = std::from_chars(uid.data(), uid.data() + uid.size(), owner);
    if (error == std::errc() && end == uid.data() + uid.size())
      return owner;
  }
  return std::nullopt;
}

std::optional<uid_t> loopbackConnectionOwner(const Endpoint& server, const Endpoint& client) {
  if (server.address.find(':') != std::string::npos)
    return connectionOwnerIn(readWhole("/proc/net/tcp6"), server, client);
  if (std::optional<uid_t> owner = connectionOwnerIn(readWhole("/proc/net/tcp"), server, client))
    return owner;
  // A service listening on both families holds an IPv4 connection as a mapped IPv6 one.
  return connectionOwnerIn(readWhole("/proc/net/tcp6"), {"::ffff:" + server.address, server.port},
                           {"::ffff:" + client.address, client.port});
}

}  // namespace murvel::linux_platform
