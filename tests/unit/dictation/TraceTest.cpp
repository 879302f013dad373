#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dictation/Trace.h"

namespace murvel {
namespace {

TEST(TraceLineTest, KeysSortedFloatsWithOneDecimalIntegersAndStringsPlain) {
  EXPECT_EQ(formatDictationTraceLine("0A1B2C3D", "client_start",
                                     {{"record_ms", 0.0},
                                      {"prepare_ms", 1.26},
                                      {"cleanup_mode", std::string("fast")},
                                      {"audio_bytes", std::int64_t{48044}}}),
            "[Murvel][0A1B2C3D][client_start] audio_bytes=48044 cleanup_mode=fast prepare_ms=1.3 "
            "record_ms=0.0\n");
}

TEST(TraceLineTest, MapsPrintAsPlainTextAndAnEmptyMapStillPrints) {
  const std::string line = formatDictationTraceLine(
      "ID", "client_response",
      {{"server_timings", nlohmann::json{{"asr_ms", 812.5}, {"model", "small"}}},
       {"parse_ms", 0.04},
       {"network_ms", 250.0},
       {"after_release_ms", 900.0}});
  EXPECT_EQ(line,
            "[Murvel][ID][client_response] after_release_ms=900.0 network_ms=250.0 parse_ms=0.0 "
            "server_timings={\"asr_ms\":812.5,\"model\":\"small\"}\n");
  EXPECT_THAT(formatDictationTraceLine("ID", "client_response",
                                       {{"server_timings", nlohmann::json::object()}}),
              ::testing::EndsWith(" server_timings={}\n"));
}

TEST(TraceIDTest, EightUpperCaseHexDigitsFreshEachTime) {
  const std::string first = makeTraceID();
  EXPECT_THAT(first, ::testing::MatchesRegex("[0-9A-F]{8}"));
  EXPECT_NE(first, makeTraceID());
}

}  // namespace
}  // namespace murvel
