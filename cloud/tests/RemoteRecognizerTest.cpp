#include "cloud/RemoteRecognizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <vector>

#include "RawHttpServer.h"
#include "cloud/RecognizerReply.h"

namespace murvel::cloud {
namespace {

using test::RawHttpServer;
using ::testing::HasSubstr;

RecognizerOptions optionsFor(const std::string& url) {
  RecognizerOptions options;
  options.url = url;
  options.model = "whisper-1";
  options.language = "en";
  options.prompt = "Murvel";
  options.timeoutSeconds = 1;
  return options;
}

const std::vector<std::int16_t> samples(1600, 1000);

TEST(RemoteRecognizer, SendsTheRecordingAsAFormAndReadsTheText) {
  RawHttpServer server(RawHttpServer::Options{.body = R"({"text": " Send the report."})"});
  const auto outcome = recognizeRemotely(optionsFor(server.url("/v1")), "sk-test", samples);
  ASSERT_TRUE(outcome.ok()) << outcome.problem();
  EXPECT_EQ(outcome.value(), "Send the report.");
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1u);
  const auto& request = requests.front();
  EXPECT_EQ(request.requestLine, "POST /v1/audio/transcriptions HTTP/1.1");
  EXPECT_THAT(request.headers, ::testing::Contains(std::pair<std::string, std::string>(
                                   "Authorization", "Bearer sk-test")));
  // The fields in the order of the interface's documentation.
  EXPECT_TRUE(std::regex_search(
      request.body,
      std::regex(R"(name="file"[\s\S]*name="model"[\s\S]*name="language"[\s\S]*name="prompt")")));
  EXPECT_THAT(request.body, HasSubstr("filename=\"recording.wav\"\r\nContent-Type: audio/wav"));
  EXPECT_THAT(request.body, HasSubstr("RIFF"));
  EXPECT_THAT(request.body, HasSubstr("\r\n\r\nwhisper-1\r\n"));
}

TEST(RemoteRecognizer, SaysWhenTheServerCannotBeReachedOrDoesNotAnswerInTime) {
  const std::string nobody = RawHttpServer().url("/v1");  // its port, free again once it is gone
  EXPECT_THAT(recognizeRemotely(optionsFor(nobody), "", samples).problem(),
              HasSubstr("at 127.0.0.1 could not be reached"));
  RawHttpServer silent(RawHttpServer::Options{.reply = RawHttpServer::Reply::never});
  EXPECT_THAT(recognizeRemotely(optionsFor(silent.url("/v1")), "", samples).problem(),
              HasSubstr("at 127.0.0.1 did not answer within 1 s"));
}

// Only a success gives a text; a refusal passes the server's own reason on.
TEST(RecognizerReply, GivesTheTextOfASuccessAloneAndTheServersReason) {
  EXPECT_EQ(recognizerReplyText(401, R"({"error": {"message": "Incorrect API key"}})").problem(),
            "The speech recogniser refused the recording: Incorrect API key");
  for (const auto& [status, body] : std::vector<std::pair<long, std::string>>{
           {502, "<html>Bad gateway</html>"}, {500, R"({"text": "hello"})"}}) {
    EXPECT_THAT(recognizerReplyText(status, body).problem(),
                HasSubstr("could not be read (HTTP status " + std::to_string(status) + ")"));
  }
}

}  // namespace
}  // namespace murvel::cloud
