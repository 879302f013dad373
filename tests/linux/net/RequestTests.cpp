#include <filesystem>
#include <string>

#include "NetTestSupport.h"
#include "RawHttpServer.h"

namespace murvel::test {
namespace {

using linux_platform::UrlErrorCode;
using RequestTest = NetTest;

TEST_F(RequestTest, SendsExactlyTheCallersFieldsInTheirOrder) {
  // Nothing of libcurl's own (Accept, Expect, a form Content-Type) but Host and a body's length.
  const struct {
    std::string method;
    std::optional<std::string> body;
    HttpHeaders fields;
    HttpHeaders added;
  } cases[] = {
      {"POST",
       R"({"text":"hello there"})",
       {{"Authorization", "Bearer key-1"},
        {"Content-Type", "application/json"},
        {"X-Zeta", "set before X-Alpha"},
        {"X-Alpha", "a, b"},
        {"X-Empty", ""}},
       {{"Content-Length", "22"}}},
      {"GET", std::nullopt, {{"Authorization", "Bearer key-1"}}, {}},
      {"PUT", "x", {{"X-One", "1"}}, {{"Content-Length", "1"}}},
  };
  RawHttpServer server;
  for (const auto& c : cases) {
    const Outcome outcome = log.run(session->dataTask(
        makeRequest(server.url("/api/thing"), c.method, c.fields, c.body), log.record()));
    EXPECT_FALSE(outcome.error) << c.method;
  }

  const std::vector<RawHttpServer::Request> requests = server.requests();
  ASSERT_EQ(requests.size(), std::size(cases));
  for (size_t i = 0; i < requests.size(); ++i) {
    HttpHeaders expected{{"Host", server.authority()}};
    expected.insert(expected.end(), cases[i].fields.begin(), cases[i].fields.end());
    expected.insert(expected.end(), cases[i].added.begin(), cases[i].added.end());
    EXPECT_EQ(requests[i].requestLine, cases[i].method + " /api/thing HTTP/1.1");
    EXPECT_EQ(requests[i].headers, expected) << cases[i].method;
    EXPECT_EQ(requests[i].body, cases[i].body.value_or(""));
  }
}

TEST_F(RequestTest, UploadSendsTheFileWithTheCallersLengthOrItsSizeAndNoExpect) {
  // Larger than the size from which libcurl would otherwise ask for "100 Continue".
  const std::string bytes = patternBytes(3 * 1024 * 1024 + 17);
  const std::filesystem::path file = writeFile("recording.wav", bytes);
  const std::string length = std::to_string(bytes.size());
  RawHttpServer server({.body = R"({"text":"hi"})"});

  for (const bool declared : {true, false}) {
    HttpHeaders fields{{"Authorization", "Bearer key-2"}, {"Content-Type", "audio/wav"}};
    if (declared)
      fields.emplace_back("Content-Length", length);
    fields.emplace_back("X-Murvel-Tone", "fast");
    const Outcome outcome = log.run(session->uploadTask(
        makeRequest(server.url("/api/transcribe"), "POST", fields), file, log.record()));

    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.data, R"({"text":"hi"})");
    const std::vector<RawHttpServer::Request> requests = server.requests();
    ASSERT_FALSE(requests.empty());
    HttpHeaders expected{{"Host", server.authority()}};
    expected.insert(expected.end(), fields.begin(), fields.end());
    if (!declared)
      expected.emplace_back("Content-Length", length);
    EXPECT_EQ(requests.back().headers, expected);
    EXPECT_TRUE(requests.back().body == bytes) << "the body differs from the file";
  }
}

TEST_F(RequestTest, AnUploadTakesItsFileAsItIsWhenTheTaskIsMade) {
  const std::string original = patternBytes(200000, 1);
  const std::filesystem::path file = writeFile("recording.wav", original);
  RawHttpServer server;
  const UrlRequest request = makeRequest(server.url("/api/transcribe"), "POST");
  const auto replaced = session->uploadTask(request, file, log.record());
  const auto missing = session->uploadTask(request, directory / "next.wav", log.record());

  // The next recording replaces the file, and another appears, before the uploads get going.
  std::filesystem::remove(file);
  writeFile("recording.wav", patternBytes(100000, 2));
  writeFile("next.wav", "late");
  EXPECT_FALSE(log.run(replaced).error);
  expectError(log.run(missing), UrlErrorCode::fileDoesNotExist,
              "The file to upload does not exist.");

  ASSERT_EQ(server.requests().size(), 1u);
  EXPECT_TRUE(server.requests()[0].body == original) << "the body is not the original file";
}

}  // namespace
}  // namespace murvel::test
