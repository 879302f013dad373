#include "cloud/Recognizer.h"

#include <pocketsphinx.h>
#include <sphinxbase/err.h>

#include <algorithm>
#include <cmath>
#include <mutex>

namespace murvel::cloud {

namespace {

// The decoder's own log is verbose and global to the process; the service writes its own.
void silenceDecoderLog() {
  static std::once_flag once;
  std::call_once(once, [] { err_set_logfp(nullptr); });
}

}  // namespace

Outcome<std::unique_ptr<Recognizer>> Recognizer::load(const std::filesystem::path& modelDirectory) {
  using Loaded = Outcome<std::unique_ptr<Recognizer>>;
  const std::filesystem::path acoustic = modelDirectory / "en-us";
  const std::filesystem::path language = modelDirectory / "en-us.lm.bin";
  const std::filesystem::path dictionary = modelDirectory / "cmudict-en-us.dict";
  std::error_code error;
  for (const auto& part : {acoustic / "mdef", language, dictionary}) {
    if (!std::filesystem::exists(part, error)) {
      return Loaded::failure("The speech model is incomplete: " + part.string() +
                             " is missing (Debian package pocketsphinx-en-us).");
    }
  }
  silenceDecoderLog();
  // The general model as it comes, with the decoder's default search. Every other setting
  // measured on flite voices and on recordings of people (bench/cloud.sh, cloud/README.md) cost
  // words, time or both, or gained no more than a few words in 320, within what one sentence
  // heard differently from one run of the app to the next amounts to.
  cmd_ln_t* config = cmd_ln_init(nullptr, ps_args(), TRUE,     //
                                 "-hmm", acoustic.c_str(),     //
                                 "-lm", language.c_str(),      //
                                 "-dict", dictionary.c_str(),  //
                                 nullptr);
  if (config == nullptr)
    return Loaded::failure("The speech decoder refused its settings.");
  ps_decoder_t* decoder = ps_init(config);
  if (decoder == nullptr) {
    cmd_ln_free_r(config);
    return Loaded::failure("The speech decoder could not load its model from " +
                           modelDirectory.string() + ".");
  }
  return Loaded::success(std::unique_ptr<Recognizer>(new Recognizer(config, decoder)));
}

Recognizer::~Recognizer() {
  ps_free(decoder_);
  cmd_ln_free_r(config_);
}

Outcome<std::string> Recognizer::recognize(std::span<const std::int16_t> samples) {
  // The whole utterance in one call: the model normalises each utterance by its own mean.
  if (ps_start_utt(decoder_) < 0)
    return Outcome<std::string>::failure("The speech decoder could not start.");
  const int processed = ps_process_raw(decoder_, samples.data(), samples.size(), FALSE, TRUE);
  const int ended = ps_end_utt(decoder_);
  if (processed < 0 || ended < 0)
    return Outcome<std::string>::failure("The speech decoder failed on this recording.");
  int32 score = 0;
  const char* hypothesis = ps_get_hyp(decoder_, &score);
  return Outcome<std::string>::success(hypothesis == nullptr ? std::string() : hypothesis);
}

bool holdsSound(std::span<const std::int16_t> samples) {
  // About -54 dBFS: below that a recording is silence or the hiss of an idle input.
  constexpr int threshold = 64;
  return std::any_of(samples.begin(), samples.end(), [](std::int16_t sample) {
    return std::abs(static_cast<int>(sample)) > threshold;
  });
}

}  // namespace murvel::cloud
