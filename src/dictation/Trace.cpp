#include "dictation/Trace.h"

#include <uuid/uuid.h>

#include <array>
#include <charconv>

#include "shell/AppDelegate.h"

namespace murvel {

namespace {

std::string formatFloat(double value) {
  // to_chars ignores the C locale, which the toolkit may have switched to one with a decimal comma.
  std::array<char, 64> buffer{};
  auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                    std::chars_format::fixed, 1);
  if (error != std::errc())
    return "nan";
  return std::string(buffer.data(), end);
}

struct ValueText {
  std::string operator()(double value) const { return formatFloat(value); }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(const nlohmann::json& value) const {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }
};

}  // namespace

std::string formatDictationTraceLine(std::string_view traceID, std::string_view event,
                                     const TraceFields& fields) {
  std::string line = "[Murvel][";
  line.append(traceID).append("][").append(event).append("] ");
  bool first = true;
  for (const auto& [key, value] : fields) {  // std::map keeps the keys in byte order
    if (!first)
      line += ' ';
    first = false;
    line.append(key).append("=").append(std::visit(ValueText{}, value));
  }
  line += '\n';
  return line;
}

std::string makeTraceID() {
  uuid_t uuid;
  uuid_generate_random(uuid);
  std::array<char, 37> text{};
  uuid_unparse_upper(uuid, text.data());
  return std::string(text.data(), 8);
}

void AppDelegate::logDictationTrace(const std::string& traceID, const std::string& event,
                                    const TraceFields& fields) {
  platform_.standardOutput.writeLine(formatDictationTraceLine(traceID, event, fields));
}

}  // namespace murvel
