#pragma once

#include <string>
#include <utility>
#include <variant>

namespace murvel::cloud {

// Either a value or the reason there is none, as a sentence that can be shown to the user as it
// stands. Works with move-only values.
template <class T>
class Outcome {
 public:
  static Outcome success(T value) { return Outcome(std::in_place_index<0>, std::move(value)); }
  static Outcome failure(std::string problem) {
    return Outcome(std::in_place_index<1>, std::move(problem));
  }

  bool ok() const { return state_.index() == 0; }
  T& value() { return std::get<0>(state_); }
  const T& value() const { return std::get<0>(state_); }
  const std::string& problem() const { return std::get<1>(state_); }

 private:
  template <std::size_t I, class V>
  Outcome(std::in_place_index_t<I> index, V&& v) : state_(index, std::forward<V>(v)) {}

  std::variant<T, std::string> state_;
};

}  // namespace murvel::cloud
