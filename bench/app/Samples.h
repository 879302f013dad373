#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace murvel::bench {

inline double msBetween(std::chrono::steady_clock::time_point from,
                        std::chrono::steady_clock::time_point to) {
  return std::chrono::duration<double, std::milli>(to - from).count();
}

// A figure over repeated trials.
struct Samples {
  std::vector<double> values;

  bool empty() const { return values.empty(); }
  double at(double quantile) const {
    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    const double position = quantile * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<std::size_t>(position);
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    return sorted[below] +
           (sorted[above] - sorted[below]) * (position - static_cast<double>(below));
  }
  double median() const { return at(0.5); }
};

}  // namespace murvel::bench
