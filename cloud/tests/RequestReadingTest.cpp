#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cloud/RequestBodies.h"
#include "cloud/SignIn.h"
#include "cloud/WordErrorRate.h"

namespace murvel::cloud {
namespace {

using ::testing::HasSubstr;

TEST(CleanupBody, TakesTheTextAndOnlyStringModesAndTones) {
  EXPECT_EQ(parseCleanupRequest(R"({"text":"hi","tone":"casual","mode":"fast"})").value(),
            (CleanupRequest{"hi", "fast", "casual"}));
  EXPECT_EQ(parseCleanupRequest(R"({"text":"caf\u00e9","mode":7,"tone":null,"x":[1]})").value(),
            (CleanupRequest{"caf\xc3\xa9", std::nullopt, std::nullopt}));
  for (const auto& [body, problem] : std::vector<std::pair<std::string, std::string>>{
           {R"({"tone":"auto"})", "no \"text\""},
           {R"({"text":42})", "no \"text\""},
           {R"(["text","hi"])", "must be a JSON object"},
           {"", "not valid JSON"},
           {"{\"text\":\"\xff\"}", "not valid JSON"}}) {
    const auto parsed = parseCleanupRequest(body);
    ASSERT_FALSE(parsed.ok()) << body;
    EXPECT_THAT(parsed.problem(), HasSubstr(problem));
  }
}

TEST(ExchangeBody, TakesANonEmptyTokenString) {
  EXPECT_EQ(parseExchangeRequest(R"({"login_token":"abc"})").value(), "abc");
  for (const char* body : {R"({"login_token":""})", R"({"login_token":1})", "{}", "null", "[]"})
    EXPECT_FALSE(parseExchangeRequest(body).ok()) << body;
}

TEST(Authorization, GivesTheKeyOfTheBearerSchemeOnly) {
  EXPECT_EQ(bearerKey("Bearer abc"), "abc");
  EXPECT_EQ(bearerKey("bearer \t abc  "), "abc");
  for (const char* header : {"Bearer ", "Bearerabc", "Basic abc", ""})
    EXPECT_EQ(bearerKey(header), std::nullopt) << header;
}

TEST(TraceIds, OnlyPlainShortIdsReachTheLog) {
  EXPECT_TRUE(isLoggableTraceId("1A2B3C4D"));
  EXPECT_TRUE(isLoggableTraceId("trace_id-9"));
  for (std::string id : {std::string(), std::string(65, 'a'), std::string("A\nfake line"),
                         std::string("a b"), std::string("\xc3\xa9")}) {
    EXPECT_FALSE(isLoggableTraceId(id)) << id;
  }
}

TEST(SignInAddresses, AreKeptTrimmedAndInLowerCase) {
  EXPECT_EQ(normalisedEmail(" Ann@Example.COM\n"), "ann@example.com");
  EXPECT_EQ(normalisedEmail("j\xc3\xb6rg@b.de"), "j\xc3\xb6rg@b.de");
  for (const std::string& email :
       {std::string("ann"), std::string("@b.c"), std::string("a@"), std::string("a@b@c"),
        std::string("a b@c.d"), std::string("<a@b.c>"), std::string("a@b.c\r\nX: y"),
        std::string("a\xff@b.c"), std::string(65, 'a') + "@b.c"}) {
    EXPECT_EQ(normalisedEmail(email), std::nullopt) << email;
  }
}

TEST(SignInLinks, HandTokensOnlyToMurvelLinks) {
  EXPECT_EQ(redirectWithToken("murvel://auth", "t0k"), "murvel://auth?login_token=t0k");
  EXPECT_EQ(redirectWithToken("murvel://auth#done", "t0k"), "murvel://auth?login_token=t0k#done");
  EXPECT_TRUE(isAcceptedRedirect("murvel://auth") && isAcceptedRedirect("murvel://auth#done"));
  for (const char* uri :
       {"murvel://auth?login_token=planted", "https://evil.example/steal", "MURVEL://auth",
        "murvelx://auth", "murvel://auth\r\nSet-Cookie: a=b", "murvel://\"><script>"}) {
    EXPECT_FALSE(isAcceptedRedirect(uri)) << uri;
  }
}

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

TEST(WordErrorRate, CountsTheFewestEditsBetweenTheScoredWords) {
  const auto errors = [](std::string_view reference, std::string_view hypothesis) {
    return wordErrors(scoredWords(reference), scoredWords(hypothesis));
  };
  EXPECT_EQ(errors("the cat sat", "The cat, sat."), (WordErrors{0, 3}));
  EXPECT_EQ(errors("the cat sat", "the bat sat down"), (WordErrors{2, 3}));
  EXPECT_EQ(errors("the cat sat", "cat"), (WordErrors{2, 3}));
  EXPECT_EQ(errors("i don't know", "- I don't\n- know"), (WordErrors{0, 3}));
  EXPECT_EQ(errors("", "noise"), (WordErrors{1, 0}));
}

}  // namespace
}  // namespace murvel::cloud
