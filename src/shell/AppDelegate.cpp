#include "shell/AppDelegate.h"

#include "shell/OnboardingWindow.h"
#include "shell/PopoverViewController.h"
#include "shell/controls/StatusItem.h"

namespace murvel {

AppDelegate::AppDelegate(Platform& platform, std::string apiBaseURL)
    : settings(platform.userDefaults), apiBaseURL(std::move(apiBaseURL)), platform_(platform) {}

AppDelegate::~AppDelegate() {
  if (pulseTimer)
    pulseTimer->invalidate();
}

}  // namespace murvel
