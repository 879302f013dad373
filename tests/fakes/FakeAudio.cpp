#include "fakes/FakeAudio.h"

#include <algorithm>
#include <fstream>

namespace murvel::testing {

namespace {

void putLittleEndian(std::string& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xff));
}

// A RIFF/WAVE file of `size` bytes in the recorder's format: 16 kHz mono 16-bit PCM, a quiet
// tone after the 44-byte header. Smaller sizes give the first bytes of such a file.
std::string waveFile(std::size_t size) {
  const std::uint32_t data = size > 44 ? static_cast<std::uint32_t>(size - 44) : 0;
  std::string out = "RIFF";
  putLittleEndian(out, 36 + data, 4);
  out += "WAVEfmt ";
  putLittleEndian(out, 16, 4);
  putLittleEndian(out, 1, 2);      // linear PCM
  putLittleEndian(out, 1, 2);      // one channel
  putLittleEndian(out, 16000, 4);  // frames a second
  putLittleEndian(out, 32000, 4);  // bytes a second
  putLittleEndian(out, 2, 2);      // bytes a frame
  putLittleEndian(out, 16, 2);     // bits a sample
  out += "data";
  putLittleEndian(out, data, 4);
  for (std::uint32_t i = 0; out.size() < size; ++i)
    out.push_back(static_cast<char>((i * 7) & 0x3f));
  out.resize(size);
  return out;
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
  urls.push_back(url);
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
  if (std::find(missing.begin(), missing.end(), name) != missing.end())
    return nullptr;
  return std::make_shared<FakeSound>(*this, std::string(name));
}

}  // namespace murvel::testing
