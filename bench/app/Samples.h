#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
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

inline std::string format(const char* pattern, double value) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, value);
  return text;
}

// One row of the table; `below` is the target the median must stay under, if there is one.
inline void row(const std::string& name, const Samples& samples, const std::string& unit,
                std::optional<double> below = std::nullopt, const std::string& target = "") {
  if (samples.empty()) {
    std::printf("%s\tno samples\t\t%s\tnot measured\n", name.c_str(), target.c_str());
    return;
  }
  const char* pattern = unit.empty() ? "%.0f" : (unit == "x" ? "%.2f" : "%.1f");
  const std::string suffix = unit.empty() ? "" : " " + unit;
  std::string verdict;
  if (below)
    verdict = samples.median() < *below ? "met" : "NOT met";
  // A figure made of other figures' medians has no spread of its own.
  const std::string spread = samples.values.size() < 2
                                 ? ""
                                 : format(pattern, samples.at(0.1)) + " .. " +
                                       format(pattern, samples.at(0.9)) +
                                       " (n=" + std::to_string(samples.values.size()) + ")";
  std::printf("%s\t%s\t%s\t%s\t%s\n", name.c_str(),
              (format(pattern, samples.median()) + suffix).c_str(), spread.c_str(), target.c_str(),
              verdict.c_str());
}

}  // namespace murvel::bench
