#include "dictation/DictationState.h"

namespace murvel {

std::ostream& operator<<(std::ostream& out, const DictationState& state) {
  switch (state.kind) {
    case DictationState::Kind::idle:
      return out << "idle";
    case DictationState::Kind::recording:
      return out << "recording";
    case DictationState::Kind::transcribing:
      return out << "transcribing";
    case DictationState::Kind::done:
      return out << "done(\"" << state.text << "\", words " << state.words << ", wpm " << state.wpm
                 << ")";
    case DictationState::Kind::error:
      return out << "error(\"" << state.message << "\")";
  }
  return out;
}

}  // namespace murvel
