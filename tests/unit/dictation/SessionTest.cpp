#include "dictation/RecorderSettings.h"
#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;
using State = DictationState;

const RunningApplication editor{"com.example.editor", "Editor", 501, 77};
const State tooShort =
    State::error("Recording was too short. Hold the key a bit longer and speak.");

class SessionTest : public ::testing::Test {
 protected:
  SessionTest() {
    h.fake.workspace.frontmost = editor;
    h.prepareDictation();
  }

  std::vector<std::shared_ptr<FakeUrlSessions::Task>> uploads() const {
    return h.fake.urlSessions.tasksFor("/transcribe");
  }

  AppHarness h;
};

TEST_F(SessionTest, PressAndReleaseRecordAndSendOneDictation) {
  h.press();
  EXPECT_TRUE(h.app->isRecording);
  EXPECT_EQ(h.app->frontmostAppBeforeRecording, editor);
  EXPECT_THAT(h.fake.audioRecorders.log, ElementsAre("make", "record"));
  EXPECT_EQ(h.fake.audioRecorders.settings.at(0), murvelRecorderSettings());
  // The connection is warmed while the user speaks.
  ASSERT_EQ(h.fake.urlSessions.tasksFor("/health").size(), 1u);
  EXPECT_EQ(h.fake.dispatch.validTimerCount(), 1u);
  EXPECT_THAT(h.fake.sounds.played, ElementsAre("Tink"));

  h.release();
  EXPECT_FALSE(h.app->isRecording);
  EXPECT_THAT(h.fake.audioRecorders.log, ElementsAre("make", "record", "stop", "drop"));
  EXPECT_THAT(h.fake.workspace.activated, ElementsAre(editor));
  EXPECT_EQ(h.fake.dispatch.validTimerCount(), 0u);
  EXPECT_THAT(h.fake.sounds.played, ElementsAre("Tink", "Pop"));

  h.fake.dispatch.runUntilIdle();
  EXPECT_THAT(h.shown, ElementsAre(State::recording(), State::transcribing()));
  EXPECT_EQ(uploads().size(), 1u);
}

struct StatusCase {
  int status;
  std::string message;
  std::vector<std::string> opened;
  friend void PrintTo(const StatusCase& c, std::ostream* out) { *out << "status " << c.status; }
};

class MicrophoneStatusTest : public SessionTest,
                             public ::testing::WithParamInterface<StatusCase> {};

TEST_P(MicrophoneStatusTest, ARefusedMicrophoneRecordsNothing) {
  h.fake.captureDevice.status = GetParam().status;
  h.press();
  h.fake.dispatch.runUntilIdle();
  EXPECT_FALSE(h.app->isRecording);
  EXPECT_TRUE(h.fake.audioRecorders.log.empty());
  EXPECT_EQ(h.app->frontmostAppBeforeRecording, std::nullopt);
  EXPECT_TRUE(h.fake.urlSessions.tasksFor("/health").empty());
  EXPECT_TRUE(h.fake.sounds.played.empty());
  EXPECT_THAT(h.shown, ElementsAre(State::error(GetParam().message)));
  EXPECT_EQ(h.fake.workspace.opened, GetParam().opened);
  EXPECT_EQ(h.fake.captureDevice.requests, GetParam().status == 0 ? 1 : 0);
}

const std::string blocked =
    "Microphone access is off. Opening System Settings > Privacy & Security > Microphone.";

INSTANTIATE_TEST_SUITE_P(
    Statuses, MicrophoneStatusTest,
    ::testing::Values(
        StatusCase{0, "Allow microphone access in the macOS prompt to start dictating.", {}},
        StatusCase{1, blocked, {microphonePane}}, StatusCase{2, blocked, {microphonePane}},
        StatusCase{7, "Microphone access is unavailable on this Mac right now.", {}}));

TEST_F(SessionTest, AnsweredPromptStartsOrBlocks) {
  h.fake.captureDevice.status = 0;
  h.press();
  h.release();  // released before the answer: a dictation of nothing
  h.fake.dispatch.runUntilIdle();
  EXPECT_EQ(h.shown.back(), tooShort);
  h.fake.captureDevice.status = 3;
  h.fake.captureDevice.answer(true);  // the platform answers on its own thread in real life
  h.fake.dispatch.runUntilIdle();
  EXPECT_TRUE(h.app->isRecording);
  EXPECT_FALSE(h.app->hotkeyPressed);
  EXPECT_EQ(h.app->frontmostAppBeforeRecording, editor);
  EXPECT_EQ(h.shown.back(), State::recording());

  AppHarness refused;
  refused.prepareSession();
  refused.fake.captureDevice.status = 0;
  refused.app->startRecording();
  refused.fake.captureDevice.status = 2;
  refused.fake.captureDevice.answer(false);
  refused.fake.dispatch.runUntilIdle();
  EXPECT_FALSE(refused.app->isRecording);
  EXPECT_EQ(refused.shown.back(), State::error(blocked));
  EXPECT_THAT(refused.fake.workspace.opened, ElementsAre(microphonePane));
}

TEST_F(SessionTest, RecorderThatCannotBeMadeIsReportedAndChangesNothingElse) {
  h.fake.audioRecorders.failure = "The default input device is gone.";
  h.press();
  h.fake.dispatch.runUntilIdle();
  EXPECT_THAT(h.shown,
              ElementsAre(State::error("Mic unavailable: The default input device is gone.")));
  EXPECT_EQ(h.app->frontmostAppBeforeRecording, editor);
  EXPECT_FALSE(h.app->isRecording);
  EXPECT_EQ(h.app->recordingStart, std::nullopt);
  EXPECT_EQ(h.fake.dispatch.validTimerCount(), 0u);
  EXPECT_TRUE(h.fake.sounds.played.empty());

  // The release still runs the whole stop, and the file decides: there is none.
  h.release();
  h.fake.dispatch.runUntilIdle();
  EXPECT_EQ(h.shown.back(), tooShort);
}

TEST_F(SessionTest, SecondStartDuringARecordingReplacesTheRecorder) {
  h.app->toggleRecording();  // the record button: the key is not held
  h.press();                 // a press edge while recording
  EXPECT_EQ(h.fake.audioRecorders.liveRecorders, 1);
  EXPECT_EQ(h.fake.dispatch.validTimerCount(), 1u);
  EXPECT_THAT(h.fake.sounds.played, ElementsAre("Tink", "Tink"));
  EXPECT_THAT(h.fake.audioRecorders.log, ElementsAre("make", "record", "make", "drop", "record"));
}

TEST_F(SessionTest, RecordButtonStopWhileTheKeyIsHeldStopsTwice) {
  h.press();
  h.app->toggleRecording();
  h.fake.dispatch.runUntilIdle();
  ASSERT_EQ(uploads().size(), 1u);
  EXPECT_TRUE(h.app->hotkeyPressed);

  // The release is a second pass through the stop, with no recorder and its own trace id.
  h.release();
  h.fake.dispatch.runUntilIdle();
  EXPECT_THAT(h.fake.sounds.played, ElementsAre("Tink", "Pop", "Pop"));
  EXPECT_THAT(h.fake.sounds.lookups, ElementsAre("Tink", "Pop"));  // looked up once each, kept
  ASSERT_EQ(uploads().size(), 2u);
  EXPECT_NE(uploads()[0]->request.valueForHTTPHeaderField("X-Murvel-Trace-ID"),
            uploads()[1]->request.valueForHTTPHeaderField("X-Murvel-Trace-ID"));
}

TEST_F(SessionTest, MissingOrEmptyAccessKeyEndsAfterTheStop) {
  for (const std::optional<std::string>& key :
       {std::optional<std::string>(), std::optional<std::string>("")}) {
    AppHarness signedOut;
    if (key)
      signedOut.fake.keychain.storeAccessKey(*key);
    signedOut.prepareSession();
    signedOut.app->startRecording();
    signedOut.app->stopRecording();
    signedOut.fake.dispatch.runUntilIdle();
    EXPECT_THAT(signedOut.shown,
                ElementsAre(State::recording(), State::transcribing(),
                            State::error("No access key is stored. Open Settings and sign in to "
                                         "start dictating.")));
    EXPECT_THAT(signedOut.fake.sounds.played, ElementsAre("Tink", "Pop"));
    EXPECT_TRUE(signedOut.fake.urlSessions.tasksFor("/transcribe").empty());
    EXPECT_TRUE(signedOut.trace().empty());
    EXPECT_TRUE(std::filesystem::exists(signedOut.recordingFile()));
  }
}

TEST_F(SessionTest, OnlyAFileOfMoreThan4096BytesIsSent) {
  struct Case {
    std::size_t bytes;  // what the recorder leaves at its stop
    bool recordFails;   // record() returns false: no file at all, the session records on
    bool sent;
  };
  for (const Case& c :
       {Case{4096, false, false}, Case{4097, false, true}, Case{32044, true, false}}) {
    AppHarness one;
    one.prepareDictation();
    one.fake.audioRecorders.bytesPerRecording = c.bytes;
    one.fake.audioRecorders.recordFails = c.recordFails;
    one.press();
    EXPECT_TRUE(one.app->isRecording);
    one.release();
    one.fake.dispatch.runUntilIdle();
    EXPECT_EQ(one.fake.urlSessions.tasksFor("/transcribe").size(), c.sent ? 1u : 0u) << c.bytes;
    if (!c.sent) {
      EXPECT_THAT(one.shown, ElementsAre(State::recording(), State::transcribing(), tooShort));
      EXPECT_TRUE(one.trace().empty());
    }
  }
}

TEST_F(SessionTest, DurationIsZeroWithoutARecordingStart) {
  h.writeRecording(5000);
  h.app->stopRecording();
  h.fake.dispatch.runUntilIdle();
  ASSERT_EQ(h.trace().size(), 1u);
  EXPECT_THAT(h.trace()[0], ::testing::HasSubstr(" record_ms=0.0\n"));
}

TEST_F(SessionTest, DelegateGoneBeforeTheBackgroundStageStopsInSilence) {
  h.writeRecording(5000);
  h.app->stopRecording();
  auto stage = h.fake.dispatch.takeGlobalWork();
  ASSERT_EQ(stage.size(), 1u);
  h.fake.dispatch.runUntilIdle();  // the icon work on the main queue holds the delegate
  std::weak_ptr<AppDelegate> weak = h.app;
  h.app.reset();
  ASSERT_TRUE(weak.expired());
  stage[0]();
  h.fake.dispatch.runUntilIdle();
  EXPECT_TRUE(h.fake.urlSessions.tasksFor("/transcribe").empty());
}

}  // namespace
}  // namespace murvel::testing
