#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace murvel {

// Which widget a record stands for, so that the toolkit can make the right one.
enum class ControlKind {
  label,
  button,
  popUpButton,
  textView,
  textField,
  segmentedControl,
  tableView,
  scrollView,
  progressIndicator,
  box,
  view,
  tabView,
  statusItemButton,
  window,
  popover,
};

// What a record tells its listeners: a property changed, or something happened that is not a
// property (the table's data must be read again, a click is performed, a window comes forward).
// The record's own end comes as `destroyed`, after which it must not be read.
enum class ControlEvent { changed, reloadData, performClick, orderFront, show, destroyed };

// A size in points; a zero side means "as large as the content needs".
struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

enum class ControlSize { regular, small };

// The base of the control records. A record holds what the system says about one control and
// tells its listeners (the toolkit, a test) when that changes. Setters notify only on a real
// change. Records are neither copied nor moved: listeners hold on to them.
class Control {
 public:
  using ListenerId = std::uint64_t;
  using Listener = std::function<void(ControlEvent)>;

  virtual ~Control() { notify(ControlEvent::destroyed); }
  Control() = default;
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  virtual ControlKind kind() const = 0;

  ListenerId addListener(Listener listener) {
    listeners_.emplace(nextListener_, std::move(listener));
    return nextListener_++;
  }
  void removeListener(ListenerId id) { listeners_.erase(id); }

  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden) { assign(hidden_, hidden); }
  int tag() const { return tag_; }
  void setTag(int tag) { assign(tag_, tag); }
  double alphaValue() const { return alpha_; }
  void setAlphaValue(double alpha) { assign(alpha_, alpha); }
  const std::string& toolTip() const { return toolTip_; }
  void setToolTip(std::string toolTip) { assign(toolTip_, std::move(toolTip)); }
  // The size the layout gives the control.
  Size size() const { return size_; }
  void setSize(Size size) { assign(size_, size); }

 protected:
  template <class T, class U>
  void assign(T& field, U&& value) {
    if (field == value)
      return;
    field = std::forward<U>(value);
    notify(ControlEvent::changed);
  }
  void notify(ControlEvent event) {
    // A listener may remove itself or others while being told.
    auto listeners = listeners_;
    for (auto& [id, listener] : listeners) {
      if (listeners_.count(id))
        listener(event);
    }
  }

 private:
  std::map<ListenerId, Listener> listeners_;
  ListenerId nextListener_ = 1;
  bool hidden_ = false;
  int tag_ = 0;
  double alpha_ = 1.0;
  std::string toolTip_;
  Size size_;
};

}  // namespace murvel
