#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

namespace murvel {

// A trace field holds a 64-bit float, an integer, a string or a map.
using TraceValue = std::variant<double, std::int64_t, std::string, nlohmann::json>;
using TraceFields = std::map<std::string, TraceValue>;

// "[Murvel][<id>][<event>] key=value ..." with the keys in byte order and a line feed at the end.
// Floats carry exactly one decimal, integers none, strings are written as they are.
std::string formatDictationTraceLine(std::string_view traceID, std::string_view event,
                                     const TraceFields& fields);

// 8 upper-case hexadecimal digits taken from a fresh random UUID.
std::string makeTraceID();

}  // namespace murvel
