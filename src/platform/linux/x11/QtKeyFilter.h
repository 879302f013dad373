#pragma once

#include <QObject>
#include <cstdint>
#include <functional>

namespace murvel::linux_platform::x11 {

// A key as the application's own windows receive it from the X server.
struct DeliveredKey {
  unsigned keycode = 0;
  bool press = false;
  std::uint32_t time = 0;  // X server time, the same as that of the raw event
  bool autoRepeat = false;
};

// An application-wide filter that drops the key events a local monitor swallowed, before any
// widget or shortcut of this process sees them. Qt may show one key event to the filter several
// times (shortcut check, window, widget, parents), so the answer must not change between asks.
class QtKeyFilter final : public QObject {
 public:
  explicit QtKeyFilter(std::function<bool(const DeliveredKey&)> shouldSwallow);
  ~QtKeyFilter() override;

  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  std::function<bool(const DeliveredKey&)> shouldSwallow_;
};

}  // namespace murvel::linux_platform::x11
