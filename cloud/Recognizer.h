#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "cloud/Outcome.h"

struct ps_decoder_s;
struct cmd_ln_s;

namespace murvel::cloud {

// One PocketSphinx decoder over the general US-English acoustic model, language model and
// dictionary. A decoder keeps state between calls, so one belongs to one thread at a time.
class Recognizer {
 public:
  // Loads the model from `modelDirectory` (the layout of the package pocketsphinx-en-us:
  // en-us/, en-us.lm.bin, cmudict-en-us.dict).
  static Outcome<std::unique_ptr<Recognizer>> load(const std::filesystem::path& modelDirectory);
  ~Recognizer();
  Recognizer(const Recognizer&) = delete;
  Recognizer& operator=(const Recognizer&) = delete;

  // The words heard in one utterance of 16 kHz mono samples, lower case and without
  // punctuation; empty when none were. A failure of the decoder comes back as the problem.
  Outcome<std::string> recognize(std::span<const std::int16_t> samples);

 private:
  Recognizer(cmd_ln_s* config, ps_decoder_s* decoder) : config_(config), decoder_(decoder) {}

  cmd_ln_s* config_;
  ps_decoder_s* decoder_;
};

// Whether the samples hold anything louder than the noise floor of a quiet microphone.
bool holdsSound(std::span<const std::int16_t> samples);

}  // namespace murvel::cloud
