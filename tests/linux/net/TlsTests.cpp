#include <httplib.h>

#include <cstdlib>
#include <fstream>

#include "NetTestSupport.h"
#include "platform/linux/net/CurlUrlSession.h"

namespace murvel::test {
namespace {

using linux_platform::UrlErrorCode;

// A loopback HTTPS peer whose certificate, for "localhost" alone, a test authority made just now.
class TlsPeer {
 public:
  explicit TlsPeer(const std::filesystem::path& directory) : authority(directory / "ca.pem") {
    std::ofstream(directory / "server.ext")
        << "subjectAltName=DNS:localhost\nbasicConstraints=CA:FALSE\n";
    const std::string in = "cd '" + directory.string() + "' && ";
    const std::string newKey = " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";
    const std::string quiet = " 2>/dev/null";
    made_ = std::system((in + "openssl req -x509" + newKey +
                         " -keyout ca.key -out ca.pem -days 2 -subj '/CN=Murvel Test CA'" + quiet)
                            .c_str()) == 0 &&
            std::system((in + "openssl req" + newKey +
                         " -keyout server.key -out server.csr -subj '/CN=localhost'" + quiet)
                            .c_str()) == 0 &&
            std::system((in +
                         "openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key "
                         "-CAcreateserial -days 2 -extfile server.ext -out server.pem" +
                         quiet)
                            .c_str()) == 0;
    if (!made_)
      return;
    server_ = std::make_unique<httplib::SSLServer>((directory / "server.pem").c_str(),
                                                   (directory / "server.key").c_str());
    server_->Get("/api/account/info", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(R"({"email":"a@b.c"})", "application/json");
    });
    port_ = server_->bind_to_any_port("127.0.0.1");
    // Bound is listening: a connection waits in the backlog until the thread accepts it.
    thread_ = std::thread([this] { server_->listen_after_bind(); });
  }
  ~TlsPeer() {
    if (server_)
      server_->stop();
    if (thread_.joinable())
      thread_.join();
  }

  bool ready() const { return made_ && server_->is_valid() && port_ > 0; }
  std::string url(const std::string& host) const {
    return "https://" + host + ":" + std::to_string(port_) + "/api/account/info";
  }

  const std::filesystem::path authority;

 private:
  bool made_ = false;
  std::unique_ptr<httplib::SSLServer> server_;
  int port_ = 0;
  std::thread thread_;
};

struct TrustCase {
  const char* name;
  bool trustTheTestAuthority;
  std::string host;
  bool accepted;
  friend void PrintTo(const TrustCase& c, std::ostream* out) { *out << c.name; }
};

class TlsTest : public NetTest, public ::testing::WithParamInterface<TrustCase> {};

TEST_P(TlsTest, PeerIsVerifiedByAuthorityAndName) {
  const TrustCase& c = GetParam();
  TlsPeer peer(directory);
  ASSERT_TRUE(peer.ready()) << "openssl could not make the test certificates";
  session = std::make_shared<linux_platform::CurlUrlSession>(
      configuration(), c.trustTheTestAuthority ? std::optional(peer.authority) : std::nullopt);

  const Outcome outcome =
      log.run(session->dataTask(makeRequest(peer.url(c.host), "GET"), log.record()));

  if (c.accepted) {
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.data, R"({"email":"a@b.c"})");
  } else {
    expectError(outcome, UrlErrorCode::serverCertificateUntrusted,
                "The certificate for this server is invalid. You might be connecting to a server "
                "that is pretending to be the one you asked for, which could put your "
                "confidential information at risk.");
  }
}

INSTANTIATE_TEST_SUITE_P(Peers, TlsTest,
                         ::testing::Values(TrustCase{"TrustedAuthority", true, "localhost", true},
                                           TrustCase{"UnknownAuthority", false, "localhost", false},
                                           TrustCase{"OtherName", true, "127.0.0.1", false}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace murvel::test
