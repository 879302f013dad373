#pragma once

#include <memory>
#include <string_view>

namespace murvel {

class Sound {
 public:
  virtual ~Sound() = default;
  // Starts playing and returns at once.
  virtual void play() = 0;
};

class Sounds {
 public:
  virtual ~Sounds() = default;
  // The system sound of that name, or null when there is none.
  virtual std::shared_ptr<Sound> soundNamed(std::string_view name) = 0;
};

}  // namespace murvel
