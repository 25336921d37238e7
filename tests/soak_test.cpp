// Thousands of sensor-test runs in one process: each goes as the model predicts, and nothing stays
// behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <malloc.h>
#include <map>
#include <thread>

#include "support/frames.h"
#include "support/sensor_fixture.h"
#include "support/session_player.h"
#include "support/temp_folder.h"

namespace {

constexpr int32_t kStatuses[] = {0, 1, 35, 209, 210};

struct tally {
  int runs = 0;
  int ended_with[std::size(kStatuses)] = {};
};

// Plays sessions until there have been as many runs.
void play_runs(const std::string &folder, int runs, uint64_t seed, tally *played) {
  support::random_source random(seed);
  support::session_player player(folder);
  while (played->runs < runs) {
    const support::session_plan session =
        support::make_session([&](uint32_t bound) { return random.below(bound); });
    std::map<int32_t, int> statuses;
    const std::string difference = player.play(session, &statuses);
    ASSERT_EQ(difference, "") << "after " << played->runs << " runs";
    played->runs += static_cast<int>(session.runs.size());
    for (size_t i = 0; i < std::size(kStatuses); ++i) {
      played->ended_with[i] += statuses[kStatuses[i]];
    }
  }
}

// The same on a thread of its own: with its end malloc counts every block as free that the thread
// has released.
tally play_runs_on_a_thread(const std::string &folder, int runs, uint64_t seed) {
  tally played;
  std::thread([&] { play_runs(folder, runs, seed, &played); }).join();
  return played;
}

struct belongings {
  size_t descriptors = support::open_descriptors();
  size_t heap_bytes = mallinfo2().uordblks;  // 0 where a sanitizer owns malloc
};

TEST(Soak, EveryRunAsPredictedAndNothingLeftBehind) {
  const support::temp_folder folder;
  play_runs_on_a_thread(folder.path(), 50, 1);
  const belongings before;
  const tally played = play_runs_on_a_thread(folder.path(), ORVA_SOAK_RUNS, 2);
  const belongings after;
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(after.heap_bytes, before.heap_bytes);
  EXPECT_THAT(folder.files(),
              testing::IsSubsetOf({support::kDataFile, support::kNormalScanLog, support::kSnrLog}));
  int sum = 0;
  for (const int count : played.ended_with) {
    EXPECT_GT(count, played.runs / 100);
    sum += count;
  }
  EXPECT_EQ(sum, played.runs);
}

}  // namespace
