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

WavShape with(void (*change)(WavShape&)) {
  WavShape shape;
  change(shape);
  return shape;
}

struct HeaderCase {
  const char* name;
  std::string bytes;
  Status status;
  std::string problem;              // a part of it, with `refused`
  std::optional<WavLayout> layout;  // with `complete`
};
// Named in test listings by its row name rather than by its bytes.
void PrintTo(const HeaderCase& c, std::ostream* out) {
  *out << c.name;
}

class WavHeaderTest : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(WavHeaderTest, ReadsTheHeaderWithoutTrustingIt) {
  const HeaderCase& c = GetParam();
  const WavHeaderCheck check = checkWavHeader(c.bytes);
  EXPECT_EQ(check.status, c.status);
  if (c.status == Status::refused) {
    EXPECT_THAT(check.problem, HasSubstr(c.problem));
  }
  if (c.layout) {
    EXPECT_EQ(check.layout, *c.layout);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Headers, WavHeaderTest,
    ::testing::Values(
        HeaderCase{"Plain", wavFile({}), Status::complete, "", WavLayout{44, 6}},
        HeaderCase{"OtherChunksFirstOddOnePadded", wavFile(with([](WavShape& s) {
                     s.chunksBeforeFormat = {{"LIST", "abc"}, {"junk", "12"}};
                   })),
                   Status::complete, "", WavLayout{44 + 12 + 10, 6}},
        HeaderCase{"Extensible", wavFile(with([](WavShape& s) { s.extensible = true; })),
                   Status::complete, "", WavLayout{68, 6}},
        HeaderCase{"OpenLengthZero", wavFile(with([](WavShape& s) { s.declaredDataBytes = 0; })),
                   Status::complete, "", WavLayout{44, std::nullopt}},
        HeaderCase{"OpenLengthAllOnes",
                   wavFile(with([](WavShape& s) { s.declaredDataBytes = 0xFFFFFFFF; })),
                   Status::complete, "", WavLayout{44, std::nullopt}},
        HeaderCase{"Nothing", "", Status::needMoreBytes, "", std::nullopt},
        HeaderCase{"PartOfRiff", "RIF", Status::needMoreBytes, "", std::nullopt},
        HeaderCase{"CutInTheFormat", wavFile({}).substr(0, 30), Status::needMoreBytes, "",
                   std::nullopt},
        HeaderCase{"Mp3Seen", "ID3", Status::refused, "not a WAV file", std::nullopt},
        HeaderCase{"Text", "hello there, this is no audio", Status::refused, "not a WAV file",
                   std::nullopt},
        HeaderCase{"BigEndian", wavFile(with([](WavShape& s) { s.riff = "RIFX"; })),
                   Status::refused, "big-endian", std::nullopt},
        HeaderCase{"Rf64", wavFile(with([](WavShape& s) { s.riff = "RF64"; })), Status::refused,
                   "RF64", std::nullopt},
        HeaderCase{"RiffVideo", wavFile(with([](WavShape& s) { s.wave = "AVI "; })),
                   Status::refused, "not WAVE audio", std::nullopt},
        HeaderCase{"Float", wavFile(with([](WavShape& s) {
                     s.format = 3;
                     s.bits = 32;
                   })),
                   Status::refused, "floating-point audio", std::nullopt},
        HeaderCase{"ExtensibleFloat", wavFile(with([](WavShape& s) {
                     s.extensible = true;
                     s.format = 3;
                   })),
                   Status::refused, "floating-point audio", std::nullopt},
        HeaderCase{"Stereo", wavFile(with([](WavShape& s) { s.channels = 2; })), Status::refused,
                   "2 channels; send mono", std::nullopt},
        HeaderCase{"CdRate", wavFile(with([](WavShape& s) { s.rate = 44100; })), Status::refused,
                   "sampled at 44100 Hz", std::nullopt},
        HeaderCase{"EightBit", wavFile(with([](WavShape& s) { s.bits = 8; })), Status::refused,
                   "8-bit samples", std::nullopt},
        HeaderCase{"WrongBlockAlign", wavFile(with([](WavShape& s) { s.blockAlign = 4; })),
                   Status::refused, "contradicts itself", std::nullopt},
        HeaderCase{"ShortFormatChunk", wavFile(with([](WavShape& s) { s.formatChunkSize = 14; })),
                   Status::refused, "too short", std::nullopt},
        HeaderCase{"AudioBeforeFormat",
                   wavFile(with([](WavShape& s) { s.dataBeforeFormat = true; })), Status::refused,
                   "before its format", std::nullopt}),
    [](const auto& info) { return std::string(info.param.name); });

// The upload, read in pieces of any size, keeps exactly the audio and the problem that a reading
// of the whole file finds.
struct UploadCase {
  const char* name;
  std::string file;
  std::string audio;    // expected audio bytes, when accepted
  std::string problem;  // a part of it, when refused
};
// Named in test listings by its row name rather than by its bytes.
void PrintTo(const UploadCase& c, std::ostream* out) {
  *out << c.name;
}

class WavUploadTest
    : public ::testing::TestWithParam<std::tuple<UploadCase, std::size_t /*piece*/>> {};

TEST_P(WavUploadTest, AnyPiecesGiveWhatTheWholeFileGives) {
  const auto& [c, piece] = GetParam();
  std::string stored;
  WavUpload upload([&](std::string_view audio, std::string&) {
    stored += audio;
    return true;
  });
  for (std::size_t at = 0; at < c.file.size(); at += piece)
    upload.receive(std::string_view(c.file).substr(at, piece));
  const auto finished = upload.finish();
  const auto whole = readWavSamples(c.file);
  if (c.problem.empty()) {
    ASSERT_TRUE(finished.ok()) << finished.problem();
    ASSERT_TRUE(whole.ok()) << whole.problem();
    EXPECT_EQ(stored, c.audio);
    EXPECT_EQ(finished.value(), c.audio.size());
    EXPECT_EQ(samplesFromLittleEndian(stored), whole.value());
  } else {
    ASSERT_FALSE(finished.ok());
    EXPECT_THAT(finished.problem(), HasSubstr(c.problem));
    ASSERT_FALSE(whole.ok());
    EXPECT_THAT(whole.problem(), HasSubstr(c.problem));
  }
}

const std::string someAudio = pcmBytes({1, -1, 300, -300, 32767, -32768, 0, 12});

INSTANTIATE_TEST_SUITE_P(
    Uploads, WavUploadTest,
    ::testing::Combine(
        ::testing::Values(UploadCase{"Plain",
                                     wavFile(with([](WavShape& s) { s.audio = someAudio; })),
                                     someAudio, ""},
                          UploadCase{"ChunkAfterTheAudio", wavFile(with([](WavShape& s) {
                                       s.audio = someAudio;
                                       s.chunksAfterData = {{"LIST", "INFOISFT"}};
                                     })),
                                     someAudio, ""},
                          UploadCase{"CutShortOfItsLength", wavFile(with([](WavShape& s) {
                                       s.audio = someAudio;
                                       s.declaredDataBytes = 1000;
                                     })),
                                     someAudio, ""},
                          UploadCase{"LengthLeftOpen", wavFile(with([](WavShape& s) {
                                       s.audio = someAudio;
                                       s.declaredDataBytes = 0;
                                     })),
                                     someAudio, ""},
                          UploadCase{"NoAudio", wavFile(with([](WavShape& s) { s.audio.clear(); })),
                                     "", "holds no audio"},
                          UploadCase{"Empty", "", "", "The upload is empty"},
                          UploadCase{"TruncatedHeader", wavFile({}).substr(0, 40), "",
                                     "ends inside the WAV header"},
                          UploadCase{"WrongRate", wavFile(with([](WavShape& s) { s.rate = 8000; })),
                                     "", "8000 Hz"}),
        ::testing::Values(std::size_t{1}, std::size_t{3}, std::size_t{4096})),
    [](const auto& info) {
      return std::string(std::get<0>(info.param).name) + "_In" +
             std::to_string(std::get<1>(info.param));
    });

// A header that runs past the limit is refused for its length, even where a wrong format lies
// beyond the limit, and however the upload is cut into pieces.
class WavUploadLimits : public ::testing::TestWithParam<std::size_t> {};

TEST_P(WavUploadLimits, RefusesAHeaderThatNeverEndsAndStoresNothingOnceRefused) {
  std::size_t stored = 0;
  WavUpload upload(
      [&](std::string_view audio, std::string&) {
        stored += audio.size();
        return true;
      },
      1024);
  const std::string file = wavFile(with([](WavShape& s) {
    s.chunksBeforeFormat = {{"LIST", std::string(2000, 'x')}};
    s.rate = 44100;
  }));
  for (std::size_t at = 0; at < file.size(); at += GetParam())
    upload.receive(std::string_view(file).substr(at, GetParam()));
  EXPECT_TRUE(upload.refused());
  upload.receive(someAudio);
  EXPECT_EQ(stored, 0u);
  EXPECT_THAT(upload.finish().problem(), HasSubstr("longer than 1 KiB"));
}

INSTANTIATE_TEST_SUITE_P(Pieces, WavUploadLimits,
                         ::testing::Values(std::size_t{1}, std::size_t{1000}, std::size_t{8192}));

TEST(WavUploadStore, AStoreThatFailsRefusesTheUploadWithItsReason) {
  WavUpload upload([](std::string_view, std::string& problem) {
    problem = "The disk is full.";
    return false;
  });
  upload.receive(wavFile({}));
  EXPECT_EQ(upload.finish().problem(), "The disk is full.");
}

}  // namespace
}  // namespace murvel::cloud::test
