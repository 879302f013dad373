#include "platform/linux/net/LoopbackOwner.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace murvel::linux_platform {

namespace {

// The address in the form the kernel's socket tables use: four words, an IPv4 address in the
// first; its family, or nothing for a text that is no address.
std::optional<int> tableAddress(const std::string& text, __be32 (&words)[4]) {
  std::memset(words, 0, sizeof words);
  if (inet_pton(AF_INET, text.c_str(), &words[0]) == 1)
    return AF_INET;
  if (inet_pton(AF_INET6, text.c_str(), words) == 1)
    return AF_INET6;
  return std::nullopt;
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

std::optional<uid_t> loopbackConnectionOwner(const Endpoint& server, const Endpoint& client) {
  // One exact question to the kernel's socket diagnostics about the socket whose own end is the
  // server's: no table is read, so this costs microseconds on the way to the first byte.
  struct {
    nlmsghdr header;
    inet_diag_req_v2 request;
  } question{};
  const std::optional<int> family = tableAddress(server.address, question.request.id.idiag_src);
  if (!family || tableAddress(client.address, question.request.id.idiag_dst) != family)
    return std::nullopt;
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.request.sdiag_family = static_cast<__u8>(*family);
  question.request.sdiag_protocol = IPPROTO_TCP;
  question.request.idiag_states = ~0U;
  question.request.id.idiag_sport = htons(static_cast<std::uint16_t>(server.port));
  question.request.id.idiag_dport = htons(static_cast<std::uint16_t>(client.port));
  question.request.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
  question.request.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;

  const int diag = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  if (diag < 0)
    return std::nullopt;
  std::optional<uid_t> owner;
  alignas(nlmsghdr) char answer[8192];
  if (send(diag, &question, sizeof question, 0) == static_cast<ssize_t>(sizeof question)) {
    const ssize_t length = recv(diag, answer, sizeof answer, 0);
    const auto* reply = reinterpret_cast<const nlmsghdr*>(answer);
    if (length >= static_cast<ssize_t>(NLMSG_LENGTH(sizeof(inet_diag_msg))) &&
        NLMSG_OK(reply, static_cast<unsigned>(length)) &&
        reply->nlmsg_type == SOCK_DIAG_BY_FAMILY) {
      owner = static_cast<const inet_diag_msg*>(NLMSG_DATA(reply))->idiag_uid;
    }
  }
  close(diag);
  return owner;
}

}  // namespace murvel::linux_platform
