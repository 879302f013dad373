#pragma once

#include <string>

namespace murvel {

enum class MurvelPermissionKind { microphone, accessibility };

// One grant, with the texts the surfaces show for it.
struct MurvelPermissionState {
  MurvelPermissionKind kind = MurvelPermissionKind::microphone;
  std::string title;
  std::string detail;
  bool isGranted = false;
  std::string actionTitle;

  friend bool operator==(const MurvelPermissionState&, const MurvelPermissionState&) = default;
};

}  // namespace murvel
