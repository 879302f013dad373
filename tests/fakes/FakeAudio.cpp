#include "fakes/FakeAudio.h"

#include "support/WavFile.h"

#include <fstream>

namespace murvel::testing {

namespace {

// A WAV file of `size` bytes in the recorder's format, or the first bytes of one.
std::string waveFile(std::size_t size) {
  std::string file = test::wavFile({.audio = std::string(size > 44 ? size - 44 : 0, '\x11')});
  file.resize(size);
  return file;
}

class FakeRecorder final : public AudioRecorder {
 public:
  FakeRecorder(FakeAudioRecorderFactory& factory, std::filesystem::path url)
      : factory_(factory), url_(std::move(url)) {
    ++factory_.liveRecorders;
  }
  ~FakeRecorder() override {
    --factory_.liveRecorders;
    factory_.log.push_back("drop");
  }

  bool record() override {
    factory_.log.push_back("record");
    if (factory_.recordFails)
      return false;
    // A new file, as the real recorder makes: an upload still reading the last take keeps it.
    std::error_code error;
    std::filesystem::remove(url_, error);
    std::ofstream(url_, std::ios::binary | std::ios::trunc);
    recording_ = true;
    return true;
  }

  void stop() override {
    factory_.log.push_back("stop");
    if (!recording_)
      return;
    recording_ = false;
    std::ofstream out(url_, std::ios::binary | std::ios::trunc);
    const std::string bytes = waveFile(factory_.bytesPerRecording);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }

 private:
  FakeAudioRecorderFactory& factory_;
  std::filesystem::path url_;
  bool recording_ = false;
};

class FakeSound final : public Sound {
 public:
  FakeSound(FakeSounds& sounds, std::string name) : sounds_(sounds), name_(std::move(name)) {}
  void play() override { sounds_.played.push_back(name_); }

 private:
  FakeSounds& sounds_;
  std::string name_;
};

}  // namespace

Result<std::unique_ptr<AudioRecorder>> FakeAudioRecorderFactory::makeRecorder(
    const std::filesystem::path& url, const RecorderSettings& recorderSettings) {
  log.push_back("make");
  settings.push_back(recorderSettings);
  if (failure) {
    return Result<std::unique_ptr<AudioRecorder>>::failure({"FakeAudio", 1, *failure});
  }
  return Result<std::unique_ptr<AudioRecorder>>::success(
      std::make_unique<FakeRecorder>(*this, url));
}

void FakeCaptureDevice::requestAccess(std::function<void(bool)> handler) {
  ++requests;
  pending.push_back(std::move(handler));
}

void FakeCaptureDevice::answer(bool granted) {
  auto handlers = std::move(pending);
  pending.clear();
  for (auto& handler : handlers) handler(granted);
}

std::shared_ptr<Sound> FakeSounds::soundNamed(std::string_view name) {
  lookups.emplace_back(name);
  return std::make_shared<FakeSound>(*this, std::string(name));
}

}  // namespace murvel::testing
