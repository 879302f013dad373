#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cloud/RequestBodies.h"
#include "cloud/SignIn.h"
#include "cloud/WordErrorRate.h"

namespace murvel::cloud {
namespace {

using ::testing::HasSubstr;

struct CleanupBodyCase {
  std::string body;
  std::optional<CleanupRequest> expected;
  std::string problem;
};

class CleanupBodyTest : public ::testing::TestWithParam<CleanupBodyCase> {};

TEST_P(CleanupBodyTest, TakesTheTextAndOnlyStringModesAndTones) {
  const auto& c = GetParam();
  const auto parsed = parseCleanupRequest(c.body);
  ASSERT_EQ(parsed.ok(), c.expected.has_value()) << c.body;
  if (c.expected) {
    EXPECT_EQ(parsed.value(), *c.expected);
  } else {
    EXPECT_THAT(parsed.problem(), HasSubstr(c.problem));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, CleanupBodyTest,
    ::testing::Values(CleanupBodyCase{R"({"text":"hi","tone":"casual","mode":"fast"})",
                                      CleanupRequest{"hi", "fast", "casual"}, ""},
                      CleanupBodyCase{R"({"text":"caf\u00e9","mode":7,"tone":null,"x":[1]})",
                                      CleanupRequest{"caf\xc3\xa9", std::nullopt, std::nullopt},
                                      ""},
                      CleanupBodyCase{R"({"tone":"auto"})", std::nullopt, "no \"text\""},
                      CleanupBodyCase{R"({"text":42})", std::nullopt, "no \"text\""},
                      CleanupBodyCase{R"(["text","hi"])", std::nullopt, "must be a JSON object"},
                      CleanupBodyCase{"", std::nullopt, "not valid JSON"},
                      CleanupBodyCase{"{\"text\":\"\xff\"}", std::nullopt, "not valid JSON"},
                      CleanupBodyCase{R"({"text":"a")", std::nullopt, "not valid JSON"}));

TEST(ExchangeBody, TakesANonEmptyTokenString) {
  EXPECT_EQ(parseExchangeRequest(R"({"login_token":"abc"})").value(), "abc");
  for (const char* body : {R"({"login_token":""})", R"({"login_token":1})", "{}", "null", "[]"})
    EXPECT_FALSE(parseExchangeRequest(body).ok()) << body;
}

struct HeaderCase {
  std::string authorization;
  std::optional<std::string> key;
};

class BearerTest : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(BearerTest, ReadsTheKeyOfTheBearerSchemeOnly) {
  EXPECT_EQ(bearerKey(GetParam().authorization), GetParam().key);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, BearerTest,
    ::testing::Values(HeaderCase{"Bearer abc", "abc"}, HeaderCase{"bearer \t abc  ", "abc"},
                      HeaderCase{"Bearer ", std::nullopt}, HeaderCase{"Bearerabc", std::nullopt},
                      HeaderCase{"Basic abc", std::nullopt}, HeaderCase{"", std::nullopt}));

TEST(TraceIds, OnlyPlainShortIdsReachTheLog) {
  EXPECT_TRUE(isLoggableTraceId("1A2B3C4D"));
  EXPECT_TRUE(isLoggableTraceId("trace_id-9"));
  for (std::string id : {std::string(), std::string(65, 'a'), std::string("A\nfake line"),
                         std::string("a b"), std::string("\xc3\xa9")}) {
    EXPECT_FALSE(isLoggableTraceId(id)) << id;
  }
}

struct EmailCase {
  std::string given;
  std::optional<std::string> kept;
};

class EmailTest : public ::testing::TestWithParam<EmailCase> {};

TEST_P(EmailTest, KeepsAddressesTrimmedAndInLowerCase) {
  EXPECT_EQ(normalisedEmail(GetParam().given), GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, EmailTest,
    ::testing::Values(EmailCase{" Ann@Example.COM\n", "ann@example.com"},
                      EmailCase{"a@b.c", "a@b.c"},
                      EmailCase{"j\xc3\xb6rg@b.de", "j\xc3\xb6rg@b.de"},
                      EmailCase{"", std::nullopt}, EmailCase{"ann", std::nullopt},
                      EmailCase{"@b.c", std::nullopt}, EmailCase{"a@", std::nullopt},
                      EmailCase{"a@b@c", std::nullopt}, EmailCase{"a b@c.d", std::nullopt},
                      EmailCase{"<a@b.c>", std::nullopt}, EmailCase{"a@b.c\r\nX: y", std::nullopt},
                      EmailCase{"a\xff@b.c", std::nullopt},
                      EmailCase{std::string(65, 'a') + "@b.c", std::nullopt}));

struct RedirectCase {
  std::string uri;
  bool accepted;
  std::string withToken;  // when accepted
};

class RedirectTest : public ::testing::TestWithParam<RedirectCase> {};

TEST_P(RedirectTest, HandsTokensOnlyToMurvelLinks) {
  const auto& c = GetParam();
  EXPECT_EQ(isAcceptedRedirect(c.uri), c.accepted);
  if (c.accepted) {
    EXPECT_EQ(redirectWithToken(c.uri, "t0k"), c.withToken);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Links, RedirectTest,
    ::testing::Values(RedirectCase{"murvel://auth", true, "murvel://auth?login_token=t0k"},
                      RedirectCase{"murvel://auth#done", true,
                                   "murvel://auth?login_token=t0k#done"},
                      RedirectCase{"murvel://auth?login_token=planted", false, ""},
                      RedirectCase{"https://evil.example/steal", false, ""},
                      RedirectCase{"MURVEL://auth", false, ""},
                      RedirectCase{"murvelx://auth", false, ""},
                      RedirectCase{"murvel://auth\r\nSet-Cookie: a=b", false, ""},
                      RedirectCase{"murvel://\"><script>", false, ""}));

TEST(OwnHosts, AreTheLoopbackNamesAndTheBoundAddressWithThePort) {
  const auto own = ownHostNames("0.0.0.0", 8787);
  for (const char* host : {"127.0.0.1:8787", "LOCALHOST:8787", "[::1]:8787", "0.0.0.0:8787"})
    EXPECT_TRUE(isOwnHost(own, host)) << host;
  for (const char* host : {"localhost:8788", "localhost", "rebound.example:8787", "", "[::1]"})
    EXPECT_FALSE(isOwnHost(own, host)) << host;
  EXPECT_TRUE(isOwnHost(ownHostNames("::1", 9), "[::1]:9"));
}

TEST(SignInPages, EscapeWhatTheRequestBrought) {
  EXPECT_EQ(escapedHtml(R"(<a href="x">'&')"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;&#39;");
  const std::string page = signInPage("o'neil@<x>.com", "murvel://auth?a=1&b=2");
  EXPECT_THAT(page, HasSubstr("o&#39;neil@&lt;x&gt;.com"));
  EXPECT_THAT(page, HasSubstr(R"(value="murvel://auth?a=1&amp;b=2")"));
  EXPECT_THAT(page, ::testing::Not(HasSubstr("<x>")));
  EXPECT_THAT(refusalPage("<b>no</b>"), HasSubstr("&lt;b&gt;no&lt;/b&gt;"));
}

struct ErrorRateCase {
  std::string reference;
  std::string hypothesis;
  WordErrors expected;
};

class WordErrorRateTest : public ::testing::TestWithParam<ErrorRateCase> {};

TEST_P(WordErrorRateTest, CountsTheFewestEdits) {
  const auto& c = GetParam();
  EXPECT_EQ(wordErrors(scoredWords(c.reference), scoredWords(c.hypothesis)), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Pairs, WordErrorRateTest,
                         ::testing::Values(ErrorRateCase{"the cat sat", "The cat, sat.", {0, 3}},
                                           ErrorRateCase{"the cat sat", "the bat sat down", {2, 3}},
                                           ErrorRateCase{"the cat sat", "cat", {2, 3}},
                                           ErrorRateCase{
                                               "i don't know", "- I don't\n- know", {0, 3}},
                                           ErrorRateCase{"", "noise", {1, 0}}));

}  // namespace
}  // namespace murvel::cloud
