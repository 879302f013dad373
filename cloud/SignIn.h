#pragma once

#include <optional>
#include <string>
#include <string_view>

// The browser side of signing in: which addresses and return links are taken, and the pages.
namespace murvel::cloud {

// The address as accounts are kept under it, trimmed and in lower case; nothing when it cannot
// be an email address.
std::optional<std::string> normalisedEmail(std::string_view email);

// Whether the browser may be sent to `uri` with a login token: only links of the app's own
// "murvel" scheme, written plainly and without a query of their own, are.
bool isAcceptedRedirect(std::string_view uri);

// `uri`, which has no query, with the query login_token=`token`, before any fragment.
std::string redirectWithToken(std::string_view uri, std::string_view token);

// The page that asks to continue the sign-in of `email`, back to `redirect`.
std::string signInPage(std::string_view email, std::string_view redirect);
// The page shown once the browser is on its way back to the app.
std::string returningPage(std::string_view location);
// The page that says why a sign-in cannot go on.
std::string refusalPage(std::string_view message);

// `text` fit to stand in HTML content and in quoted attribute values.
std::string escapedHtml(std::string_view text);

}  // namespace murvel::cloud
