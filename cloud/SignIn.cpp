#include "cloud/SignIn.h"

namespace murvel::cloud {

namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

// Whether `text` is well-formed UTF-8 without control characters.
bool isPrintableUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x20 || c == 0x7F)
      return false;
    std::size_t length = c < 0x80           ? 1
                         : (c >> 5) == 0x6  ? 2
                         : (c >> 4) == 0xE  ? 3
                         : (c >> 3) == 0x1E ? 4
                                            : 0;
    if (length == 0 || i + length > text.size())
      return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
        return false;
    }
    i += length;
  }
  return true;
}

// The common frame of every page: readable in light and dark, large targets, visible focus.
std::string page(std::string_view title, std::string_view body) {
  std::string html = R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>)";
  html += escapedHtml(title);
  html += R"(</title>
<style>
  :root { color-scheme: light dark; --accent: #0b57d0; --text: #1b1b1f; --muted: #45464f; --bg: #ffffff; --card: #f3f4f9; }
  @media (prefers-color-scheme: dark) {
    :root { --accent: #a8c7fa; --text: #e3e2e6; --muted: #c5c6d0; --bg: #121316; --card: #1f2024; }
  }
  body { margin: 0; min-height: 100vh; display: grid; place-items: center; background: var(--bg);
         color: var(--text); font: 1.0625rem/1.5 system-ui, -apple-system, "Segoe UI", sans-serif; }
  main { max-width: 28rem; margin: 1.5rem; padding: 2rem; border-radius: 1rem; background: var(--card); }
  h1 { font-size: 1.5rem; margin: 0 0 1rem; }
  p { margin: 0 0 1rem; }
  .note { color: var(--muted); font-size: 0.9375rem; }
  button, .button { display: inline-block; min-height: 2.75rem; padding: 0.625rem 1.5rem; border: 0;
           border-radius: 1.375rem; background: var(--accent); color: var(--bg); font: inherit;
           font-weight: 600; text-decoration: none; cursor: pointer; }
  button:focus-visible, .button:focus-visible, a:focus-visible { outline: 3px solid var(--text); outline-offset: 3px; }
  a { color: var(--accent); }
</style>
</head>
<body>
<main>
)";
  html += body;
  html += "</main>\n</body>\n</html>\n";
  return html;
}

}  // namespace

std::optional<std::string> normalisedEmail(std::string_view email) {
  while (!email.empty() && isBlank(email.front())) email.remove_prefix(1);
  while (!email.empty() && isBlank(email.back())) email.remove_suffix(1);
  if (email.size() < 3 || email.size() > 254 || !isPrintableUtf8(email))
    return std::nullopt;
  const std::size_t at = email.find('@');
  if (at == 0 || at == std::string_view::npos || at > 64 || at + 1 == email.size() ||
      email.find('@', at + 1) != std::string_view::npos) {
    return std::nullopt;
  }
  std::string kept(email);
  for (char& c : kept) {
    if (c == ' ' || c == '<' || c == '>' || c == '"' || c == ',' || c == ';')
      return std::nullopt;
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
  }
  return kept;
}

bool isAcceptedRedirect(std::string_view uri) {
  constexpr std::string_view scheme = "murvel:";
  // A query of its own could carry a token ahead of the one the service adds.
  if (!uri.starts_with(scheme) || uri.size() > 2048 || uri.find('?') != std::string_view::npos)
    return false;
  for (const char c : uri) {
    // Printable ASCII only, and nothing that would need quoting in a header or an attribute.
    if (c <= 0x20 || c >= 0x7F || c == '"' || c == '<' || c == '>' || c == '\\' || c == '`')
      return false;
  }
  return true;
}

std::string redirectWithToken(std::string_view uri, std::string_view token) {
  const std::size_t hash = uri.find('#');
  std::string target(uri.substr(0, hash));
  target += "?login_token=";
  target += token;
  if (hash != std::string_view::npos)
    target += uri.substr(hash);
  return target;
}

std::string signInPage(std::string_view email, std::string_view redirect) {
  std::string body = "<h1>Sign in to Murvel</h1>\n<p>You are signing in as <strong>";
  body += escapedHtml(email);
  body += R"(</strong>.</p>
<form method="post" action="continue">
<input type="hidden" name="email" value=")";
  body += escapedHtml(email);
  body += R"(">
<input type="hidden" name="redirect_uri" value=")";
  body += escapedHtml(redirect);
  body += R"(">
<p><button type="submit" autofocus>Continue to Murvel</button></p>
</form>
<p class="note">Your account is kept by the Murvel service on this computer. A new address gets a
new account. Your browser may ask whether to open Murvel: allow it to finish signing in.</p>
)";
  return page("Sign in to Murvel", body);
}

std::string returningPage(std::string_view location) {
  std::string body = R"(<h1>Returning to Murvel</h1>
<p>Your browser is handing the sign-in back to Murvel.</p>
<p><a class="button" href=")";
  body += escapedHtml(location);
  body += R"(">Open Murvel</a></p>
<p class="note">If Murvel does not open, use the button. The link works once, within ten
minutes.</p>
)";
  return page("Returning to Murvel", body);
}

std::string refusalPage(std::string_view message) {
  std::string body = "<h1>This sign-in cannot go on</h1>\n<p role=\"alert\">";
  body += escapedHtml(message);
  body += "</p>\n<p class=\"note\">Start again from Murvel's Settings window.</p>\n";
  return page("Sign-in refused", body);
}

std::string escapedHtml(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

}  // namespace murvel::cloud
