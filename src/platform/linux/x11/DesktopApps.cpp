#include "platform/linux/x11/DesktopApps.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

namespace murvel::linux_platform::x11 {

namespace {

constexpr std::string_view desktopSuffix = ".desktop";

std::string withoutSuffix(std::string id) {
  if (id.size() > desktopSuffix.size() && id.ends_with(desktopSuffix))
    id.resize(id.size() - desktopSuffix.size());
  return id;
}

std::optional<DesktopApp> describe(GDesktopAppInfo* info) {
  if (info == nullptr)
    return std::nullopt;
  auto* app = G_APP_INFO(info);
  const char* id = g_app_info_get_id(app);
  const char* name = g_app_info_get_name(app);
  std::optional<DesktopApp> result;
  if (id != nullptr)
    result = DesktopApp{withoutSuffix(id), name != nullptr ? name : ""};
  return result;
}

}  // namespace

DesktopApps::DesktopApps() {
  // Reports installed and removed applications from the main loop (Qt runs GLib's).
  auto* monitor = g_app_info_monitor_get();
  monitor_ = monitor;
  handler_ = g_signal_connect(monitor, "changed", G_CALLBACK(onChanged), this);
}

DesktopApps::~DesktopApps() {
  g_signal_handler_disconnect(monitor_, handler_);
  g_object_unref(monitor_);
}

void DesktopApps::onChanged(void* /*monitor*/, void* self) {
  static_cast<DesktopApps*>(self)->byWMClass_.reset();
}

std::optional<DesktopApp> DesktopApps::byId(const std::string& id) const {
  if (id.empty())
    return std::nullopt;
  GDesktopAppInfo* info = id.front() == '/'
                              ? g_desktop_app_info_new_from_filename(id.c_str())
                              : g_desktop_app_info_new((withoutSuffix(id) + ".desktop").c_str());
  auto result = describe(info);
  if (info != nullptr)
    g_object_unref(info);
  return result;
}

std::optional<DesktopApp> DesktopApps::byStartupWMClass(const std::string& wmClass) {
  if (!byWMClass_) {
    // Reading every entry takes a while; it is done once, not at every look-up.
    byWMClass_.emplace();
    GList* all = g_app_info_get_all();
    for (GList* item = all; item != nullptr; item = item->next) {
      auto* app = static_cast<GAppInfo*>(item->data);
      if (!G_IS_DESKTOP_APP_INFO(app))
        continue;
      const char* startupClass = g_desktop_app_info_get_startup_wm_class(G_DESKTOP_APP_INFO(app));
      if (startupClass == nullptr)
        continue;
      if (auto described = describe(G_DESKTOP_APP_INFO(app)))
        byWMClass_->emplace(startupClass, std::move(*described));
    }
    g_list_free_full(all, g_object_unref);
  }
  auto found = byWMClass_->find(wmClass);
  if (found == byWMClass_->end())
    return std::nullopt;
  return found->second;
}

}  // namespace murvel::linux_platform::x11
