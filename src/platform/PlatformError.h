#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace murvel {

// A failure reported by the platform or made by the system itself: a domain, a code and a
// sentence that can be shown to the user as it stands.
struct PlatformError {
  std::string domain;
  long code = 0;
  std::string localizedDescription;

  friend bool operator==(const PlatformError&, const PlatformError&) = default;
};

// Either a value or a PlatformError. Works with move-only values.
template <class T>
class Result {
 public:
  static Result success(T value) { return Result(std::in_place_index<0>, std::move(value)); }
  static Result failure(PlatformError error) {
    return Result(std::in_place_index<1>, std::move(error));
  }

  bool ok() const { return state_.index() == 0; }
  T& value() { return std::get<0>(state_); }
  const T& value() const { return std::get<0>(state_); }
  const PlatformError& error() const { return std::get<1>(state_); }

 private:
  template <std::size_t I, class V>
  Result(std::in_place_index_t<I> index, V&& v) : state_(index, std::forward<V>(v)) {}

  std::variant<T, PlatformError> state_;
};

}  // namespace murvel
