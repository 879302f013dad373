// Whatever the sign-in exchange answers, the person is either signed in with the key it gave or
// told that it failed; a failed exchange never removes a key stored before.

#include "FuzzApp.h"
#include "shell/OnboardingWindow.h"
#include "stores/Keychain.h"

using namespace murvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::FuzzApp f;
  f.reset();
  f.app->showOnboarding();
  f.fake.keychain.storeAccessKey("earlier-key");
  f.app->onboardingWindow->setStatus("");
  f.fake.urlEvents.handler = [](const UrlEvent&) {
  };
  f.app->handleGetURLEvent(UrlEvent{"murvel://auth?login_token=fuzz"});
  f.fake.dispatch.runUntilIdle();
  f.reply("/auth/exchange", data, size);

  const std::string& status = f.app->onboardingWindow->statusLabel.text();
  const auto key = Keychain::load(f.fake.keychain, Keychain::accessKeyAccount);
  if (status == "Signed in. Murvel is ready to use.") {
    if (!key || key->empty())
      fuzzing::violated("signed in without a key");
  } else if (status == "Browser sign-in failed. Please try again.") {
    if (key != "earlier-key")
      fuzzing::violated("a failed exchange changed the stored key");
  } else {
    fuzzing::violated("the exchange ended without telling the person");
  }
  return 0;
}
