#include "cloud/RemoteRecognizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

#include "RawHttpServer.h"

namespace murvel::cloud {
namespace {

using test::RawHttpServer;
using ::testing::HasSubstr;

struct RemoteCase {
  const char* name;
  std::optional<RawHttpServer::Options> server;  // nothing: nobody listens
  std::optional<std::string> text;               // the text recognised, or else
  std::string problem;                           // a part of the sentence for the user
};

class RemoteRecognizerTest : public ::testing::TestWithParam<RemoteCase> {};

// The names of the multipart fields in the order they were sent.
std::vector<std::string> fieldNames(const std::string& body) {
  std::vector<std::string> names;
  const std::string marker = "Content-Disposition: form-data; name=\"";
  for (std::size_t at = body.find(marker); at != std::string::npos;
       at = body.find(marker, at + 1)) {
    const std::size_t start = at + marker.size();
    names.push_back(body.substr(start, body.find('"', start) - start));
  }
  return names;
}

TEST_P(RemoteRecognizerTest, SendsTheRecordingAndReadsTheReply) {
  const RemoteCase& c = GetParam();
  std::unique_ptr<RawHttpServer> server;
  std::string base;
  if (c.server) {
    server = std::make_unique<RawHttpServer>(*c.server);
    base = server->url("/v1");
  } else {
    base = RawHttpServer().url("/v1");  // its port, free again once it is gone
  }
  RecognizerOptions options;
  options.url = base;
  options.model = "whisper-1";
  options.language = "en";
  options.prompt = "Murvel";
  options.timeoutSeconds = 1;
  const std::vector<std::int16_t> samples(1600, 1000);
  const auto outcome = recognizeRemotely(options, "sk-test", samples);

  if (c.text) {
    ASSERT_TRUE(outcome.ok()) << outcome.problem();
    EXPECT_EQ(outcome.value(), *c.text);
    const auto requests = server->requests();
    ASSERT_EQ(requests.size(), 1u);
    const auto& request = requests.front();
    EXPECT_EQ(request.requestLine, "POST /v1/audio/transcriptions HTTP/1.1");
    EXPECT_THAT(request.headers, ::testing::Contains(std::pair<std::string, std::string>(
                                     "Authorization", "Bearer sk-test")));
    EXPECT_EQ(fieldNames(request.body),
              (std::vector<std::string>{"file", "model", "language", "prompt"}));
    EXPECT_THAT(request.body, HasSubstr("filename=\"recording.wav\"\r\nContent-Type: audio/wav"));
    EXPECT_THAT(request.body, HasSubstr("RIFF"));
    EXPECT_THAT(request.body, HasSubstr("\r\n\r\nwhisper-1\r\n"));
  } else {
    ASSERT_FALSE(outcome.ok()) << outcome.value();
    EXPECT_THAT(outcome.problem(), HasSubstr(c.problem));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Replies, RemoteRecognizerTest,
    ::testing::Values(
        RemoteCase{"Text", RawHttpServer::Options{.body = R"({"text": " Send the report."})"},
                   "Send the report.", ""},
        RemoteCase{"ErrorReply",
                   RawHttpServer::Options{
                       .status = 401,
                       .body = R"({"error": {"message": "Incorrect API key", "type": "x"}})"},
                   std::nullopt, "refused the recording: Incorrect API key"},
        RemoteCase{"SlowReply", RawHttpServer::Options{.reply = RawHttpServer::Reply::never},
                   std::nullopt, "at 127.0.0.1 did not answer within 1 s"},
        RemoteCase{"MalformedReply",
                   RawHttpServer::Options{.status = 502, .body = "<html>Bad gateway</html>"},
                   std::nullopt, "could not be read (HTTP status 502)"},
        RemoteCase{"TextWithoutSuccess",
                   RawHttpServer::Options{.status = 500, .body = R"({"text": "hello"})"},
                   std::nullopt, "could not be read (HTTP status 500)"},
        RemoteCase{"Refused", std::nullopt, std::nullopt, "at 127.0.0.1 could not be reached"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace murvel::cloud
