#include "common/Json.h"
#include "shell/AppDelegate.h"
#include "stores/Keychain.h"

namespace murvel {

namespace {
PlatformError murvelError(long code, std::string description) {
  return PlatformError{"Murvel", code, std::move(description)};
}
}  // namespace

void AppDelegate::fetchAccountInfo(std::function<void(Result<AccountInfo>)> completion) {
  const auto accessKey = Keychain::load(platform_.keychain, Keychain::accessKeyAccount);
  if (!accessKey || accessKey->empty()) {
    completion(Result<AccountInfo>::failure(murvelError(401, "Not signed in")));
    return;
  }
  UrlRequest request;
  request.url = apiURL("account/info");
  request.httpMethod = "GET";
  request.setValue("Bearer " + *accessKey, "Authorization");

  auto handler = [&dispatch = platform_.dispatch, &defaults = platform_.userDefaults,
                  completion = std::move(completion)](std::optional<std::string> data,
                                                      std::optional<HttpResponse>,
                                                      std::optional<PlatformError> error) {
    dispatch.async([&defaults, completion, data = std::move(data), error = std::move(error)] {
      if (error) {
        completion(Result<AccountInfo>::failure(*error));  // passed on unchanged
        return;
      }
      std::optional<nlohmann::json> reply;
      if (data)
        reply = parseJSONObjectOrArray(*data);
      if (!reply || !reply->is_object()) {
        completion(Result<AccountInfo>::failure(murvelError(0, "Invalid response")));
        return;
      }
      const std::string email =
          stringMember(*reply, "email").value_or(Settings(defaults).signedInEmail());
      completion(Result<AccountInfo>::success(AccountInfo{email}));
    });
  };
  platform_.urlSessions.sharedSession()->dataTask(std::move(request), std::move(handler))->resume();
}

void AppDelegate::signOut() {
  Keychain::deleteItem(platform_.keychain, Keychain::accessKeyAccount);
  settings.setSignedInEmail("");
  removeEventMonitors();
  showOnboarding();
}

}  // namespace murvel
