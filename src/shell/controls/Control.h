#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace murvel {

// The base of the control records: it tells its listeners (the toolkit binding, a test) that a
// property changed. Setters notify only on a real change.
class Control {
 public:
  void addListener(std::function<void()> listener) { listeners_.push_back(std::move(listener)); }

 protected:
  template <class T>
  void assign(T& field, T value) {
    if (field == value)
      return;
    field = std::move(value);
    for (auto& listener : listeners_) listener();
  }

 private:
  std::vector<std::function<void()>> listeners_;
};

}  // namespace murvel
