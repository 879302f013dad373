// The whole product on a private desktop, as a person meets it: the real app and the real
// service, a browser, a key held on the keyboard and speech in the microphone. The steps run in
// order and each builds on the one before; each fails on its own with what it saw.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Journey.h"
#include "common/Files.h"

namespace murvel::e2e {
namespace {

constexpr const char* email = "ada@example.com";
constexpr const char* firstSentence = "please send the report to the team before lunch";

// One journey through every step; the desktop, the service and the app outlive each step and
// are stopped after the last.
std::unique_ptr<Journey> shared;

Journey& journey() {
  if (!shared) {
    const fs::path work = fs::path(std::getenv("HOME")) / "e2e";
    fs::create_directories(work);
    shared = std::make_unique<Journey>(work);
  }
  return *shared;
}

class StopTheJourney : public ::testing::Environment {
  void TearDown() override { shared.reset(); }
};
[[maybe_unused]] const auto* const stopping =
    ::testing::AddGlobalTestEnvironment(new StopTheJourney);

// Whether a file under `directory` holds `secret`; the files that do.
std::vector<std::string> filesHolding(const fs::path& directory, const std::string& secret) {
  std::vector<std::string> found;
  for (const auto& entry :
       fs::recursive_directory_iterator(directory, fs::directory_options::skip_permission_denied)) {
    if (entry.is_regular_file() &&
        readWholeFile(entry.path()).value_or("").find(secret) != std::string::npos)
      found.push_back(entry.path().string());
  }
  return found;
}

class EndToEnd : public ::testing::Test {
 protected:
  // Stops the test at the first step that failed before it: what follows would only repeat it.
  void SetUp() override {
    if (::testing::UnitTest::GetInstance()->failed_test_count() > 0)
      GTEST_SKIP() << "an earlier step failed";
  }
  Journey& j = journey();
};

TEST_F(EndToEnd, SignsInThroughTheBrowserAtFirstLaunch) {
  ASSERT_TRUE(j.cloud.start()) << "murvel-cloud did not start:\n" << j.cloud.log();
  j.target = std::make_unique<TargetWindow>(j.programs.targetWindow, j.work());
  ASSERT_TRUE(j.signIn(email)) << j.problem;
  EXPECT_FALSE(j.accessKey().empty()) << "no access key in the keyring";
}

TEST_F(EndToEnd, PicksRightControlAsTheHotkeyByPressingIt) {
  ASSERT_TRUE(j.pickRightControl()) << j.problem;
  ASSERT_TRUE(j.closeSettings()) << j.problem;
}

TEST_F(EndToEnd, DictatesIntoTheWindowInFront) {
  const auto text = j.dictate(firstSentence, "first");
  ASSERT_TRUE(text) << j.problem;
  EXPECT_LE(wordErrorRate(firstSentence, *text), 0.25)
      << "said: " << firstSentence << "\narrived: " << *text;
  const std::string key = j.accessKey();
  ASSERT_GE(key.size(), 16u);
  EXPECT_THAT(filesHolding(j.home(), key), ::testing::IsEmpty())
      << "the access key is written outside the keyring";
}

}  // namespace
}  // namespace murvel::e2e
