#include "dictation/RecorderSettings.h"
#include "shell/AppDelegate.h"
#include "shell/PopoverViewController.h"
#include "stores/Keychain.h"

namespace murvel {

namespace {
const char* const microphonePromptMessage =
    "Allow microphone access in the macOS prompt to start dictating.";
const char* const microphoneUnavailableMessage =
    "Microphone access is unavailable on this Mac right now.";
const char* const missingAccessKeyMessage =
    "No access key is stored. Open Settings and sign in to start dictating.";
const char* const tooShortMessage = "Recording was too short. Hold the key a bit longer and speak.";
}  // namespace

void AppDelegate::announce(DictationState state) {
  if (popoverVC)
    popoverVC->setState(std::move(state));
}

void AppDelegate::playSound(std::shared_ptr<Sound>& cache, bool& looked, std::string_view name) {
  if (!looked) {
    cache = platform_.sounds.soundNamed(name);
    looked = true;
  }
  if (cache)
    cache->play();
}

void AppDelegate::startRecording() {
  switch (platform_.captureDevice.authorizationStatus()) {
    case 0:
      announce(DictationState::error(microphonePromptMessage));
      // The continuation keeps this object alive until the prompt is answered.
      requestMicrophoneAccess([self = shared_from_this()](bool granted) {
        if (granted) {
          self->startRecording();
        } else {
          self->handleBlockedMicrophonePermission();
        }
      });
      return;
    case 1:
    case 2:
      handleBlockedMicrophonePermission();
      return;
    case 3:
      break;
    default:
      refreshPermissionUI();
      announce(DictationState::error(microphoneUnavailableMessage));
      return;
  }

  const RecorderSettings recorderSettings = murvelRecorderSettings();
  frontmostAppBeforeRecording = platform_.workspace.frontmostApplication();
  // The connection opens while the user speaks; the press never waits for it.
  prewarmAPIConnection();
  auto made = platform_.audioRecorders.makeRecorder(recordingURL.value_or(std::filesystem::path()),
                                                    recorderSettings);
  if (!made.ok()) {
    announce(DictationState::error("Mic unavailable: " + made.error().localizedDescription));
    return;
  }
  audioRecorder = std::move(made.value());  // a recorder still running is dropped with its take
  audioRecorder->record();
  isRecording = true;
  recordingStart = platform_.dispatch.now();
  startPulse();
  announce(DictationState::recording());
  playSound(tinkSound_, tinkLooked_, "Tink");
}

void AppDelegate::stopRecording() {
  if (audioRecorder)
    audioRecorder->stop();
  audioRecorder.reset();
  isRecording = false;
  if (frontmostAppBeforeRecording)
    platform_.workspace.activate(*frontmostAppBeforeRecording);
  stopPulse();
  announce(DictationState::transcribing());
  playSound(popSound_, popLooked_, "Pop");
  transcribeAudio();
}

void AppDelegate::toggleRecording() {
  if (isRecording) {
    stopRecording();
  } else {
    startRecording();
  }
}

void AppDelegate::startPulse() {
  pulsePhase = 0;
  if (pulseTimer)
    pulseTimer->invalidate();
  pulseTimer = platform_.dispatch.scheduledRepeatingTimer(0.5, [weakSelf = weak_from_this()] {
    if (auto self = weakSelf.lock()) {
      self->pulsePhase += 1;
      self->setRecordingIcon();
    }
  });
}

void AppDelegate::stopPulse() {
  if (pulseTimer) {
    pulseTimer->invalidate();
    pulseTimer.reset();
  }
  setIdleIcon();
}

void AppDelegate::transcribeAudio() {
  const auto accessKey = Keychain::load(platform_.keychain, Keychain::accessKeyAccount);
  if (!accessKey || accessKey->empty()) {
    announce(DictationState::error(missingAccessKeyMessage));
    return;
  }
  DictationValues values;
  values.accessKey = *accessKey;
  values.duration =
      recordingStart ? secondsBetween(platform_.dispatch.now(), *recordingStart) : 0.0;
  values.cleanupMode = settings.cleanupMode();
  values.shouldClean = values.cleanupMode != "off";
  values.tone = currentCleanupTone();
  values.traceID = makeTraceID();
  values.releasedAt = platform_.dispatch.now();
  platform_.dispatch.global(QualityOfService::userInitiated,
                            [weakSelf = weak_from_this(), values = std::move(values)] {
                              recordingStage(weakSelf, values);
                            });
}

void AppDelegate::recordingStage(std::weak_ptr<AppDelegate> weakSelf, DictationValues values) {
  auto self = weakSelf.lock();
  if (!self)
    return;
  const Date prepareStart = self->platform_.dispatch.now();
  const std::int64_t size = recordingFileSize(self->recordingURL.value_or(std::filesystem::path()));
  if (size <= minimumRecordingBytes) {
    self->platform_.dispatch.async([weakSelf] {
      if (auto delegate = weakSelf.lock()) {
        delegate->announce(DictationState::error(tooShortMessage));
      }
    });
    return;
  }
  self->sendTranscription(std::move(values), prepareStart, size);
}

}  // namespace murvel
