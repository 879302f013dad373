#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "WavFile.h"
#include "cloud/WavFormat.h"
#include "cloud/WavUpload.h"

namespace murvel::cloud::test {
namespace {

using murvel::test::pcmBytes;
using murvel::test::wavFile;
using murvel::test::WavShape;
using Status = WavHeaderCheck::Status;
using ::testing::HasSubstr;

std::string wavWith(void (*change)(WavShape&)) {
  WavShape shape;
  change(shape);
  return wavFile(shape);
}

TEST(WavHeader, FindsTheAudioPastOtherChunksAndLeavesAnOpenLengthOpen) {
  const auto layout = [](const std::string& file) {
    const WavHeaderCheck check = checkWavHeader(file);
    EXPECT_EQ(check.status, Status::complete) << check.problem;
    return check.layout;
  };
  EXPECT_EQ(layout(wavFile({})), (WavLayout{44, 6}));
  // The odd chunk is padded to an even length.
  EXPECT_EQ(layout(wavWith([](WavShape& s) {
              s.chunksBeforeFormat = {{"LIST", "abc"}, {"junk", "12"}};
            })),
            (WavLayout{44 + 12 + 10, 6}));
  EXPECT_EQ(layout(wavWith([](WavShape& s) { s.extensible = true; })), (WavLayout{68, 6}));
  EXPECT_EQ(layout(wavWith([](WavShape& s) { s.declaredDataBytes = 0; })),
            (WavLayout{44, std::nullopt}));
  EXPECT_EQ(layout(wavWith([](WavShape& s) { s.declaredDataBytes = 0xFFFFFFFF; })),
            (WavLayout{44, std::nullopt}));
}

TEST(WavHeader, WaitsForMoreOfWhatMayStillBecomeAHeader) {
  for (const std::string& start : {std::string(), std::string("RIF"), wavFile({}).substr(0, 30)})
    EXPECT_EQ(checkWavHeader(start).status, Status::needMoreBytes) << start.size();
}

TEST(WavHeader, RefusesWhatRecognitionCannotTakeAndSaysWhat) {
  const auto problem = [](const std::string& bytes) {
    const WavHeaderCheck check = checkWavHeader(bytes);
    EXPECT_EQ(check.status, Status::refused);
    return check.problem;
  };
  // Three bytes are enough to tell.
  EXPECT_THAT(problem("ID3"), HasSubstr("not a WAV file"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.riff = "RIFX"; })), HasSubstr("big-endian"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.riff = "RF64"; })), HasSubstr("RF64"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.wave = "AVI "; })), HasSubstr("not WAVE audio"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) {
                s.extensible = true;
                s.format = 3;
              })),
              HasSubstr("floating-point audio"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.channels = 2; })),
              HasSubstr("2 channels; send mono"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.rate = 44100; })),
              HasSubstr("sampled at 44100 Hz"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.bits = 8; })), HasSubstr("8-bit samples"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.blockAlign = 4; })),
              HasSubstr("contradicts itself"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.formatChunkSize = 14; })),
              HasSubstr("too short"));
  EXPECT_THAT(problem(wavWith([](WavShape& s) { s.dataBeforeFormat = true; })),
              HasSubstr("before its format"));
}

// The upload, read in pieces, keeps exactly the audio, or refuses for the reason, that a reading
// of the whole file finds. That any pieces give the same is the fuzzer's to find.
TEST(WavUpload, KeepsTheAudioThatAReadingOfTheWholeFileFinds) {
  static const std::string audio = pcmBytes({1, -1, 300, -300, 32767, -32768, 0, 12});
  const auto withAudio = [](void (*change)(WavShape&)) {
    WavShape shape;
    shape.audio = audio;
    change(shape);
    return wavFile(shape);
  };
  struct Case {
    std::string file;
    std::string problem;  // none: the audio is kept
  };
  for (const auto& [file, problem] :
       std::vector<Case>{{withAudio([](WavShape&) {}), ""},
                         {withAudio([](WavShape& s) {
                            s.chunksAfterData = {{"LIST", "INFOISFT"}};
                          }),
                          ""},
                         {withAudio([](WavShape& s) { s.declaredDataBytes = 1000; }), ""},
                         {withAudio([](WavShape& s) { s.declaredDataBytes = 0; }), ""},
                         {withAudio([](WavShape& s) { s.audio.clear(); }), "holds no audio"},
                         {"", "The upload is empty"},
                         {wavFile({}).substr(0, 40), "ends inside the WAV header"},
                         {withAudio([](WavShape& s) { s.rate = 8000; }), "8000 Hz"}}) {
    SCOPED_TRACE(problem.empty() ? "kept " + std::to_string(file.size()) : problem);
    std::string stored;
    WavUpload upload([&](std::string_view piece, std::string&) {
      stored += piece;
      return true;
    });
    for (std::size_t at = 0; at < file.size(); at += 3)
      upload.receive(std::string_view(file).substr(at, 3));
    const auto finished = upload.finish();
    const auto whole = readWavSamples(file);
    if (problem.empty()) {
      ASSERT_TRUE(finished.ok() && whole.ok());
      EXPECT_EQ(stored, audio);
      EXPECT_EQ(finished.value(), audio.size());
      EXPECT_EQ(samplesFromLittleEndian(stored), whole.value());
    } else {
      ASSERT_FALSE(finished.ok() || whole.ok());
      EXPECT_THAT(finished.problem(), HasSubstr(problem));
      EXPECT_THAT(whole.problem(), HasSubstr(problem));
    }
  }
}

// A header that runs past the limit is refused for its length, even where a wrong format lies
// beyond the limit, and however the upload is cut into pieces.
TEST(WavUpload, RefusesAHeaderThatNeverEndsAndStoresNothingOnceRefused) {
  const std::string file = wavWith([](WavShape& s) {
    s.chunksBeforeFormat = {{"LIST", std::string(2000, 'x')}};
    s.rate = 44100;
  });
  for (const std::size_t piece : {1, 1000, 8192}) {
    std::size_t stored = 0;
    WavUpload upload(
        [&](std::string_view audio, std::string&) {
          stored += audio.size();
          return true;
        },
        1024);
    for (std::size_t at = 0; at < file.size(); at += piece)
      upload.receive(std::string_view(file).substr(at, piece));
    EXPECT_TRUE(upload.refused()) << piece;
    upload.receive(pcmBytes({1, 2, 3}));
    EXPECT_EQ(stored, 0u);
    EXPECT_THAT(upload.finish().problem(), HasSubstr("longer than 1 KiB"));
  }
}

TEST(WavUpload, AStoreThatFailsRefusesTheUploadWithItsReason) {
  WavUpload upload([](std::string_view, std::string& problem) {
    problem = "The disk is full.";
    return false;
  });
  upload.receive(wavFile({}));
  EXPECT_EQ(upload.finish().problem(), "The disk is full.");
}

}  // namespace
}  // namespace murvel::cloud::test
