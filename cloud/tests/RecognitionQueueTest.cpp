#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <latch>
#include <semaphore>

#include "cloud/RecognitionQueue.h"

namespace murvel::cloud {
namespace {

using namespace std::chrono_literals;

// Decoders that report each start and then hold on until the test lets one go.
class HeldDecoders {
 public:
  DecodeFunction decoder() {
    return [this](std::span<const std::int16_t> samples) {
      started_.release();
      released_.acquire();
      if (samples.empty())
        throw std::runtime_error("no samples");
      return Outcome<std::string>::success("words " + std::to_string(samples.size()));
    };
  }
  void awaitStart() { started_.acquire(); }
  void release(int count) { released_.release(count); }

 private:
  std::counting_semaphore<64> started_{0};
  std::counting_semaphore<64> released_{0};
};

struct Capacity {
  std::size_t workers;
  std::size_t waiting;
};

class QueueCapacityTest : public ::testing::TestWithParam<Capacity> {};

TEST_P(QueueCapacityTest, TakesWorkersPlusWaitingAndRefusesTheNextUntilOneEnds) {
  const auto [workers, waiting] = GetParam();
  HeldDecoders held;
  std::vector<DecodeFunction> decoders;
  for (std::size_t i = 0; i < workers; ++i) decoders.push_back(held.decoder());
  RecognitionQueue queue(decoders, waiting);

  std::vector<std::future<Recognition>> taken;
  for (std::size_t i = 0; i < workers + waiting; ++i) {
    auto future = queue.submit(std::vector<std::int16_t>(i + 1));
    ASSERT_TRUE(future) << "submission " << i;
    taken.push_back(std::move(*future));
  }
  for (std::size_t i = 0; i < workers; ++i) held.awaitStart();
  EXPECT_EQ(queue.load().busy, workers);
  EXPECT_EQ(queue.load().waiting, waiting);
  EXPECT_FALSE(queue.submit(std::vector<std::int16_t>(1)));

  // One recording ends, whichever the workers let go first, and a waiting one takes its place:
  // its slot is free again.
  held.release(1);
  if (waiting > 0) {
    held.awaitStart();
  } else {
    EXPECT_EQ(taken.front().get().words.value(), "words 1");  // one worker: it was the first
  }
  auto again = queue.submit(std::vector<std::int16_t>(7));
  ASSERT_TRUE(again);
  held.release(static_cast<int>(workers + waiting));
  EXPECT_EQ(again->get().words.value(), "words 7");
  for (std::size_t i = 0; i < taken.size(); ++i) {
    if (taken[i].valid()) {
      EXPECT_EQ(taken[i].get().words.value(), "words " + std::to_string(i + 1));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, QueueCapacityTest,
                         ::testing::Values(Capacity{1, 0}, Capacity{1, 1}, Capacity{2, 3}));

TEST(RecognitionQueue, StoppingRefusesWhatWaitsAndFinishesWhatRuns) {
  HeldDecoders held;
  RecognitionQueue queue({held.decoder()}, 2);
  auto running = queue.submit(std::vector<std::int16_t>(3));
  auto waiting = queue.submit(std::vector<std::int16_t>(4));
  held.awaitStart();
  queue.stop();
  EXPECT_FALSE(queue.submit(std::vector<std::int16_t>(1)));
  EXPECT_THAT(waiting->get().words.problem(), ::testing::HasSubstr("stopping"));
  held.release(1);
  EXPECT_EQ(running->get().words.value(), "words 3");
}

TEST(RecognitionQueue, ADecoderThatThrowsFailsThatRecordingOnly) {
  HeldDecoders held;
  RecognitionQueue queue({held.decoder()}, 1);
  held.release(2);
  EXPECT_THAT(queue.submit({})->get().words.problem(), ::testing::HasSubstr("no samples"));
  EXPECT_EQ(queue.submit(std::vector<std::int16_t>(2))->get().words.value(), "words 2");
}

TEST(RecognitionQueue, AnIdleServiceDecodesThePiecesOfARecordingAtOnceAndABusyOneKeepsItWhole) {
  HeldDecoders held;
  std::vector<std::size_t> offered;  // the free workers each split was offered
  const SplitFunction split = [&](std::span<const std::int16_t> samples, std::size_t count) {
    offered.push_back(count);
    if (samples.size() < 4)
      return std::vector<Piece>{};
    return std::vector<Piece>{{0, 3}, {3, samples.size()}};
  };
  RecognitionQueue queue({held.decoder(), held.decoder()}, 2, split);

  auto split10 = queue.submit(std::vector<std::int16_t>(10));
  held.awaitStart();
  held.awaitStart();  // both pieces under way at the same time
  EXPECT_EQ(queue.load().busy, 2u);
  held.release(2);
  EXPECT_EQ(split10->get().words.value(), "words 3 words 7");

  auto short1 = queue.submit(std::vector<std::int16_t>(1));
  held.awaitStart();
  auto whole8 = queue.submit(std::vector<std::int16_t>(8));
  held.awaitStart();
  held.release(2);
  EXPECT_EQ(short1->get().words.value(), "words 1");
  EXPECT_EQ(whole8->get().words.value(), "words 8");
  EXPECT_EQ(offered, (std::vector<std::size_t>{2, 2}));  // not when only one worker was free
}

}  // namespace
}  // namespace murvel::cloud
