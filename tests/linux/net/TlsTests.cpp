#include <httplib.h>

#include <cstdlib>

#include "NetTestSupport.h"
#include "platform/linux/net/CurlUrlSession.h"

namespace murvel::test {
namespace {

using linux_platform::UrlErrorCode;

// A test authority, and a certificate it signed for "localhost" alone, made in `directory`.
bool makeCertificates(const std::filesystem::path& directory) {
  const std::string key = " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2";
  const std::string script =
      "cd '" + directory.string() + "' && exec 2>/dev/null" +
      " && printf 'subjectAltName=DNS:localhost\\nbasicConstraints=CA:FALSE\\n' > server.ext" +
      " && openssl req -x509" + key + " -keyout ca.key -out ca.pem -subj '/CN=Murvel Test CA'" +
      " && openssl req" + key + " -keyout server.key -out server.csr -subj '/CN=localhost'" +
      " && openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2" +
      " -extfile server.ext -out server.pem";
  return std::system(script.c_str()) == 0;
}

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
  ASSERT_TRUE(makeCertificates(directory)) << "openssl could not make the test certificates";
  httplib::SSLServer peer((directory / "server.pem").c_str(), (directory / "server.key").c_str());
  peer.Get("/api/account/info", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(R"({"email":"a@b.c"})", "application/json");
  });
  // Once bound it listens: a connection waits in the backlog until the thread accepts it.
  const int port = peer.bind_to_any_port("127.0.0.1");
  ASSERT_GT(port, 0);
  std::thread serving([&] { peer.listen_after_bind(); });
  session = std::make_shared<linux_platform::CurlUrlSession>(
      configuration(),
      c.trustTheTestAuthority ? std::optional(directory / "ca.pem") : std::nullopt);
  const std::string url = "https://" + c.host + ":" + std::to_string(port) + "/api/account/info";

  const Outcome outcome = log.run(session->dataTask(makeRequest(url, "GET"), log.record()));
  peer.stop();
  serving.join();

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
