#include "common/Json.h"
#include "common/Text.h"
#include "service/ServiceURL.h"
#include "shell/AppDelegate.h"
#include "shell/OnboardingWindow.h"
#include "stores/Keychain.h"

namespace murvel {

namespace {
const char* const redirectURI = "murvel://auth";
const char* const signInFailedMessage = "Browser sign-in failed. Please try again.";
const char* const signedInMessage = "Signed in. Murvel is ready to use.";
}  // namespace

void AppDelegate::startBrowserSignIn(std::string_view email) {
  const std::string address = lowercased(trimmedWhitespaceAndNewlines(email));
  if (address.empty())
    return;
  settings.setSignedInEmail(address);
  platform_.workspace.openURL(
      withQueryItems(apiURL("auth/start"), {{"email", address}, {"redirect_uri", redirectURI}}));
}

void AppDelegate::handleGetURLEvent(const UrlEvent& event) {
  // Every test that fails ends here in silence: a link is no place for error messages.
  if (!event.directObjectString)
    return;
  const auto url = parseURL(*event.directObjectString);
  if (!url || url->scheme != "murvel")
    return;
  // Exactly one token: a link with two may carry one that a page slipped in ahead of the
  // service's own.
  std::string loginToken;
  int tokens = 0;
  for (const auto& [name, value] : url->queryItems) {
    if (name == "login_token") {
      loginToken = value.value_or("");
      ++tokens;
    }
  }
  if (tokens != 1 || loginToken.empty())
    return;
  platform_.dispatch.async([weakSelf = weak_from_this(), loginToken = std::move(loginToken)] {
    if (auto self = weakSelf.lock())
      self->completeBrowserSignIn(loginToken);
  });
}

void AppDelegate::completeBrowserSignIn(std::string loginToken) {
  UrlRequest request;
  request.url = apiURL("auth/exchange");
  request.httpMethod = "POST";
  request.setValue("application/json", "Content-Type");
  request.httpBody = compactJSON({{"login_token", loginToken}});

  auto completion = [weakSelf = weak_from_this(), &dispatch = platform_.dispatch](
                        std::optional<std::string> data, std::optional<HttpResponse>,
                        std::optional<PlatformError> error) {
    dispatch.async([weakSelf, data = std::move(data), failed = error.has_value()] {
      auto self = weakSelf.lock();
      if (!self)
        return;
      std::optional<std::string> accessKey;
      std::optional<std::string> email;
      if (!failed && data) {
        if (auto reply = parseJSONObjectOrArray(*data); reply && reply->is_object()) {
          accessKey = stringMember(*reply, "access_key");
          email = stringMember(*reply, "email");
        }
      }
      if (!accessKey || accessKey->empty()) {
        self->showOnboarding();
        self->onboardingWindow->setStatus(signInFailedMessage, Color::systemOrangeColor);
        return;
      }
      Keychain::save(self->platform_.keychain, *accessKey, Keychain::accessKeyAccount);
      if (email && !email->empty())
        self->settings.setSignedInEmail(*email);
      if (self->onboardingWindow) {
        self->onboardingWindow->refreshAuthState(false);
        self->onboardingWindow->setStatus(signedInMessage, Color::systemGreenColor);
      }
      self->setupHotkey(false);
      self->maybePromptPermissionsIfNeeded();
      self->announce(DictationState::idle());
      self->platform_.dispatch.asyncAfter(0.6, [weakSelf] {
        auto delegate = weakSelf.lock();
        if (delegate && delegate->onboardingWindow)
          delegate->onboardingWindow->close();
      });
    });
  };
  platform_.urlSessions.sharedSession()
      ->dataTask(std::move(request), std::move(completion))
      ->resume();
}

}  // namespace murvel
