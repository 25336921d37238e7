// Whole runs of orvaFpSensorTest: what they do in which order, what they send, log, save and
// return. A run's expected journal is joined from rows of a table, and what the rows say of
// failures and interrupts is what happens.
#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <map>
#include <pthread.h>
#include <thread>
#include <unistd.h>

#include <orva_fp/device.h>
#include <orva_fp/sensor_test.h>

#include "simulator/libc_front.h"
#include "simulator/secure_side.h"
#include "support/frames.h"
#include "support/guarded_buffer.h"
#include "support/libc_stand_ins.h"
#include "support/recorder.h"
#include "support/temp_folder.h"

namespace {

using simulator::exchange_step;
using simulator::secure_side;
using support::lines;

enum { kNormal, kSnr1, kSnr2 };  // families of scripts
enum { kGoesOn = -1, kCame = -2, kCameNot = -3 };
constexpr uint32_t kCallbackFails = 12345;  // in the place of a code

// A code and what a family does with it.
struct row {
  int family;
  uint32_t code;
  // kGoesOn; kCame or kCameNot, the outcome that the following requests carry; or the status with
  // which the run ends.
  int32_t next;
  const char *journal;

  bool ends() const { return next >= 0; }
};

const row kRows[] = {
    {kNormal, 23, kGoesOn, "set-clock 0 | info-memory 0"},
    {kNormal, 23, kGoesOn, "set-clock 0! | 6:270 sensor_test ORVA_READ_SENSOR_INFO_START fail 209"},
    {kNormal, 23, kGoesOn,
        "set-clock 0 | info-memory 0! | 6:270 sensor_test ORVA_READ_SENSOR_INFO_START fail 209"},
    {kNormal, 24, kGoesOn, "set-clock 0 | info-memory 1 | reset 0 | usleep 15000"},
    {kNormal, 24, kGoesOn,
        "set-clock 0! | 6:278 sensor_test ORVA_READ_SENSOR_INFO_END fail 209 | reset 0 | usleep "
        "15000"},
    {kNormal, 24, kGoesOn,
        "set-clock 0 | info-memory 1 | reset 0! | 6:284 sensor_test ORVA_RESET fail 2 209"},
    {kNormal, 21, kGoesOn, "reset 0 | usleep 15000"},
    {kNormal, 21, kGoesOn, "reset 0 | usleep 15000! | usleep 13000! | usleep 11000"},
    {kNormal, 21, kGoesOn, "reset 0! | 6:293 sensor_test ORVA_RESET fail 209"},
    {kNormal, 41, kGoesOn, "power 0 | usleep 10000 | power 1 | usleep 10000"},
    {kNormal, 41, kGoesOn,
        "power 0! | 6:302 sensor_test ORVA_POWER_OFF_ON off fail 209 | usleep 10000 | power 1 | "
        "usleep 10000"},
    {kNormal, 41, kGoesOn,
        "power 0 | usleep 10000 | power 1! | 6:306 sensor_test ORVA_POWER_OFF_ON on fail 209 | "
        "usleep 10000"},
    {kNormal, 12, kGoesOn, ""},
    {kNormal, 0xFFFFFFFF, kGoesOn, ""},
    {kNormal, kCallbackFails, 35, ""},
    {kNormal, 37, 0, ""},
    {kNormal, 0, 0,
        "fopen DIR/fp_data.bin wb | 4:317 Save bin=DIR/fp_data.bin | 4:369 save "
        "result=DIR/orva_sensor_test_NS.log | fopen DIR/orva_sensor_test_NS.log wb"},
    {kNormal, 35, 0,
        "fopen DIR/fp_data.bin wb! | 6:315 Save bin fail, errno=28 | 4:317 Save "
        "bin=DIR/fp_data.bin | 4:369 save result=DIR/orva_sensor_test_NS.log | fopen "
        "DIR/orva_sensor_test_NS.log wb"},
    {kNormal, 0, 0,
        "fopen DIR/fp_data.bin wb | 4:317 Save bin=DIR/fp_data.bin | 4:369 save "
        "result=DIR/orva_sensor_test_NS.log | fopen DIR/orva_sensor_test_NS.log wb! | 6:371 Save "
        "NS result log fail, errno=28"},

    {kSnr1, 23, kGoesOn, "set-clock 0 | info-memory 0 | 3:475 pfnCustomRequest SNR1 end 0 23"},
    {kSnr1, 23, kGoesOn,
        "set-clock 0 | info-memory 0! | 6:426 sensor_test snr_1 ORVA_READ_SENSOR_INFO_START fail "
        "209 | 3:475 pfnCustomRequest SNR1 end 209 23"},
    {kSnr1, 24, kGoesOn, "reset 0 | usleep 15000 | 3:475 pfnCustomRequest SNR1 end 0 24"},
    {kSnr1, 24, kGoesOn,
        "reset 0! | 6:440 sensor_test ORVA_RESET fail 2 209 | 3:475 pfnCustomRequest SNR1 end 209 "
        "24"},
    {kSnr1, 21, kGoesOn, "3:475 pfnCustomRequest SNR1 end 0 21"},
    {kSnr1, 41, kGoesOn, "3:475 pfnCustomRequest SNR1 end 0 41"},
    {kSnr1, 1, kGoesOn, "3:475 pfnCustomRequest SNR1 end 0 1"},
    {kSnr1, 12, kCame,
        "int-enable 1 | poll 100 in | 4:wait_interrupt_in_sensor_test:65 sensor_test interrupt "
        "tirgger | int-disable 1 | 3:475 pfnCustomRequest SNR1 end 0 12"},
    {kSnr1, 12, kCameNot,
        "int-enable 1 | poll 100 none | 4:wait_interrupt_in_sensor_test:67 sensor_test interrupt "
        "timeout | int-disable 1 | 3:475 pfnCustomRequest SNR1 end 0 12"},
    {kSnr1, 12, 209, "int-enable 1! | 6:416 sensor_test snr_1 ORVA_WAIT_INTERRUPT fail 209"},
    {kSnr1, kCallbackFails, 35, ""},
    {kSnr1, 0, 0, "3:475 pfnCustomRequest SNR1 end 0 0"},
    {kSnr1, 35, 0, "3:475 pfnCustomRequest SNR1 end 0 35"},
    {kSnr1, 37, 0, "3:475 pfnCustomRequest SNR1 end 0 0"},

    {kSnr2, 23, kGoesOn, "set-clock 0 | info-memory 0"},
    {kSnr2, 23, kGoesOn,
        "set-clock 0! | 6:512 sensor_test snr_2 ORVA_READ_SENSOR_INFO_START fail 209"},
    {kSnr2, 24, kGoesOn, "set-clock 0 | info-memory 1"},
    {kSnr2, 24, kGoesOn,
        "set-clock 0! | 6:520 sensor_test snr_2 ORVA_READ_SENSOR_INFO_END fail 209"},
    {kSnr2, 21, kGoesOn, ""},
    {kSnr2, 41, kGoesOn, ""},
    {kSnr2, 36, kGoesOn, ""},
    {kSnr2, 12, kCame,
        "int-enable 1 | poll 1000 both | 4:wait_interrupt_in_sensor_test:65 sensor_test interrupt "
        "tirgger | int-disable 1"},
    {kSnr2, 12, kCameNot,
        "int-enable 1 | poll 1000 error | 4:wait_interrupt_in_sensor_test:67 sensor_test interrupt "
        "timeout | int-disable 1"},
    {kSnr2, 12, kCameNot,
        "int-enable 1 | poll 1000 fails | 4:wait_interrupt_in_sensor_test:67 sensor_test interrupt "
        "timeout | int-disable 1"},
    {kSnr2, 12, 209,
        "int-enable 1 | poll 1000 in | 4:wait_interrupt_in_sensor_test:65 sensor_test interrupt "
        "tirgger | int-disable 1! | 6:534 sensor_test snr_2 ORVA_WAIT_INTERRUPT fail 209"},
    {kSnr2, kCallbackFails, 35, ""},
    {kSnr2, 37, 0, ""},
    {kSnr2, 0, 0,
        "fopen DIR/fp_data.bin wb | 4:636 save result=DIR/orva_sensor_test_SNR.log | fopen "
        "DIR/orva_sensor_test_SNR.log wb"},
    {kSnr2, 35, 0,
        "fopen DIR/fp_data.bin wb | 4:636 save result=DIR/orva_sensor_test_SNR.log | fopen "
        "DIR/orva_sensor_test_SNR.log wb! | 6:638 Save SNR result log fail, errno=28"},
    {kSnr2, 0, 0,
        "fopen DIR/fp_data.bin wb! | 6:544 Save bin fail, errno=28 | 4:636 save "
        "result=DIR/orva_sensor_test_SNR.log | fopen DIR/orva_sensor_test_SNR.log wb"},
};

struct opening {
  int32_t next;
  const char *journal;
};

const opening kOpenings[] = {
    {kGoesOn, "power 1 | set-clock 0"},
    {209, "power 1!"},
    {209, "power 1 | set-clock 0!"},
};

// 2001-09-09 01:46:40 UTC.
constexpr time_t kNow = 1000000000;
const std::string kDateLine = "Date: Sun Sep  9 01:46:40 2001\n";
const std::string kText = "VERDICT: 100% %s";
const std::string kData("\x09\0\x08", 3);

std::string setup(int32_t script_id) {
  std::string journal;
  if (script_id >= 1000 && script_id <= 1005) {
    const bool normal = (script_id - 1000) % 3 == kNormal;
    const std::string log = std::string("DIR/orva_sensor_test_") + (normal ? "NS" : "SNR") + ".log";
    journal = "remove " + log + "\n4:" + (normal ? "172" : "179") + " remove " + log + "\n";
  }
  return journal + "remove DIR/fp_data.bin\n4:185 remove DIR/fp_data.bin\n" +
         "4:195 sensor_test version X = V2.0.1, script_id = " + std::to_string(script_id) +
         ", options = 77 pDataLogPath = DIR\n4:197 sensor_test build = 298, patch = 600\n";
}

std::string closing(int32_t status) {
  return "4:655 orvaFpSensorTest() ret = " + std::to_string(status) + "\n";
}

// One run of a session, as rows of its family; the last of them ends it.
struct run {
  int32_t script_id;
  const opening *opened;  // null where the driver is open
  std::vector<const row *> rows;

  int32_t status() const { return rows.empty() ? opened->next : rows.back()->next; }

  std::vector<exchange_step> steps() const {
    std::vector<exchange_step> steps;
    for (const row *r : rows) {
      if (r->code == kCallbackFails) {
        steps.push_back({.failure = -5});
      } else {
        steps.push_back({.result = r->code, .text = kText, .data = {9, 0, 8}});
      }
    }
    return steps;
  }

  std::string journal() const {
    std::string journal = setup(script_id) + (opened != nullptr ? lines(opened->journal) : "");
    int32_t interrupt = 0;
    std::string reply = "37 0";  // result and data_len, before the first reply
    for (const row *r : rows) {
      const int32_t status = r->code == kCallbackFails ? -5 : 0;
      const std::string code = std::to_string(static_cast<int32_t>(r->code));
      if (status == 0) reply = code + " 3";
      journal += "request " + std::to_string(script_id) + " " + std::to_string(interrupt) + "\n";
      const std::string told = std::to_string(status);
      switch (r->family) {
        case kNormal:
          journal += "4:255 sensor_test normal scan = " + told + " " + reply + "\n";
          break;
        case kSnr1:
          journal += "4:394 orvaFpSensorTest pfnCustomRequest SNR1 " + told + "\n";
          break;
        default:
          journal += "4:495 orvaFpSensorTest pfnCustomRequest SNR2 ret = " + told +
                     ", result = " + reply.substr(0, reply.find(' ')) + "\n";
          break;
      }
      journal += lines(r->journal);
      if (r->next == kCame || r->next == kCameNot) interrupt = r->next == kCame;
    }
    return journal + closing(status());
  }
};

class Runs : public testing::Test {
 protected:
  void SetUp() override { start(""); }
  void TearDown() override {
    support::stop_journal();
    close_driver();
  }

  void start(const std::string &expected) {
    support::start_journal(expected, false, folder.path());
    support::libc().now = kNow;
  }

  static void close_driver() {
    EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
    g_fp_device_handle = 0;
  }

  // Runs a script against a secure side that plays the steps.
  int32_t play(int32_t script_id, std::vector<exchange_step> steps, const char *where = nullptr) {
    secure_side side(std::move(steps));
    side.observe([](const simulator::exchange &e) {
      support::note("request " + std::to_string(e.request.script_id) + " " +
                    std::to_string(e.request.interrupt_triggered));
    });
    const int32_t status = orvaFpSensorTest(script_id, 77, 3, 4, secure_side::request, &side, 7, 8,
        where != nullptr ? where : folder.path().c_str());
    EXPECT_THAT(side.problems(), testing::IsEmpty());
    EXPECT_TRUE(side.finished());
    return status;
  }

  // Plays runs on one sensor, one after the other.
  void play_session(const std::vector<run> &session) {
    std::string expected;
    for (const run &r : session) expected += r.journal();
    start(expected);
    for (const run &r : session) {
      EXPECT_EQ(play(r.script_id, r.steps()), r.status());
      EXPECT_EQ(support::take_journal(), r.journal());
      follow_files(r.journal());
      EXPECT_EQ(folder.all_contents(), files);
    }
    EXPECT_THAT(simulator::sensor().problems(), testing::IsEmpty());
    close_driver();
  }

  // What the folder holds after a run.
  void follow_files(const std::string &journal) {
    std::istringstream entries(journal);
    for (std::string entry; getline(entries, entry);) {
      const std::string name = entry.substr(0, entry.find(" wb")).substr(entry.find('/') + 1);
      if (entry.starts_with("remove ")) files.erase(name);
      if (entry.starts_with("fopen ") && !entry.ends_with('!'))
        files[name] = name == "fp_data.bin" ? kData : kDateLine + kText;
    }
  }

  support::temp_folder folder;
  std::map<std::string, std::string> files;
};

const row *find_row(int family, uint32_t code) {
  return std::ranges::find_if(
      kRows, [&](const row &r) { return r.family == family && r.code == code; });
}

TEST_F(Runs, EachActionOfEachScript) {
  for (const row &r : kRows) {
    for (const int32_t script_id : {1000 + r.family, 1003 + r.family}) {
      run one = {script_id, &kOpenings[0], {&r}};
      if (!r.ends()) one.rows.push_back(find_row(r.family, 37));
      SCOPED_TRACE(std::to_string(script_id) + " " + std::to_string(r.code) + " " + r.journal);
      play_session({one});
    }
  }
}

// Whatever the rows, in whatever order over several runs: each does what it does alone, the n-th
// command may fail in a later run, and nothing is left behind.
TEST_F(Runs, ManySessions) {
  support::random_source random(1);
  const auto play_some = [&](int sessions) {
    for (int i = 0; i < sessions && !HasFailure(); ++i) {
      std::vector<run> session;
      const opening *opened =
          &kOpenings[random.below(12) % std::size(kOpenings) * (random.below(4) == 0)];
      for (uint32_t count = 1 + random.below(3); count > 0; --count) {
        const int32_t script_id = 1000 + static_cast<int32_t>(random.below(6));
        session.push_back({script_id, opened, {}});
        const bool refused = opened != nullptr && opened->next >= 0;
        opened = nullptr;
        for (auto &rows = session.back().rows;
             !refused && (rows.empty() || !rows.back()->ends());) {
          const row &r = kRows[random.below(std::size(kRows))];
          if (r.family == (script_id - 1000) % 3) rows.push_back(&r);
        }
      }
      SCOPED_TRACE("session " + std::to_string(i));
      g_sensor_test_abort =
          static_cast<int32_t>(random.below(2));  // no matter for waits with a limit
      play_session(session);
    }
    g_sensor_test_abort = 0;
    for (const auto &[name, contents] : std::exchange(files, {}))
      std::filesystem::remove(folder / name);
    support::stop_journal();
    simulator::detach();
  };
  // On a thread: with its end malloc counts every block as free that the thread has released. The
  // count is 0 where a sanitizer owns malloc.
  const auto left_behind = [&](int sessions) {
    std::thread(play_some, sessions).join();
    return std::pair(support::open_descriptors(), mallinfo2().uordblks);
  };
  const auto before = left_behind(200);
  const auto after = left_behind(ORVA_TEST_SESSIONS);
  EXPECT_EQ(after.first, before.first);
  EXPECT_LT(after.second, before.second + 1000) << "more than malloc's rounding";
}

// ---- Set-up --------------------------------------------------------------------------------

TEST_F(Runs, NullFolder) {
  EXPECT_EQ(orvaFpSensorTest(1000, 0, 0, 0, secure_side::request, nullptr, 0, 0, nullptr), 1);
  EXPECT_EQ(support::take_journal(), "6:162 sensor_test pDataLogPath == NULL\n" + closing(1));
}

TEST_F(Runs, UnknownScriptStopsAfterSetup) {
  for (const int32_t script_id : {999, 1006, INT32_MIN}) {
    EXPECT_EQ(play(script_id, {}), FP_OK);
    EXPECT_EQ(support::take_journal(), setup(script_id) + "power 1\nset-clock 0\n" + closing(0));
    close_driver();
  }
}

TEST_F(Runs, DriverThatCannotBeOpened) {
  for (const auto node : {simulator::node_state::kMissing, simulator::node_state::kNotOpenable}) {
    simulator::attach({.node = node});
    EXPECT_EQ(play(1002, {}), FP_ERR_NO_DEVICE);
    EXPECT_EQ(support::take_journal(), setup(1002) + closing(210));
    EXPECT_EQ(g_fp_device_handle, 0);
  }
}

TEST_F(Runs, SetupDeletesTheFamilysFilesOnly) {
  using names = std::vector<std::string>;
  const names all = {"fp_data.bin", "orva_sensor_test_NS.log", "orva_sensor_test_SNR.log"};
  for (const int32_t script_id : {1000, 1001, 1002, 1003, 1004, 1005, 7}) {
    for (const std::string &name : all) std::ofstream(folder / name) << "old";
    play(script_id, std::vector<exchange_step>(script_id != 7, {.result = ORVA_TEST_STOP}));
    const names left =
        script_id == 7 ? names{all[1], all[2]} : names{script_id % 3 == 1 ? all[2] : all[1]};
    EXPECT_EQ(folder.files(), left) << script_id;
  }
}

// ---- Callback ------------------------------------------------------------------------------

TEST_F(Runs, CallbackIsNullOrWritesNothing) {
  const auto silent = [](void *, uint32_t, const sensor_test_request *, uint32_t,
                          sensor_test_reply *, uint32_t *) -> int32_t { return 0; };
  for (int32_t script_id = 1000; script_id <= 1005; ++script_id) {
    EXPECT_EQ(
        orvaFpSensorTest(script_id, 0, 0, 0, nullptr, nullptr, 0, 0, folder.path().c_str()), 35);
    EXPECT_EQ(
        orvaFpSensorTest(script_id, 0, 0, 0, silent, nullptr, 0, 0, folder.path().c_str()), FP_OK);
  }
  EXPECT_THAT(folder.files(), testing::IsEmpty());
}

TEST_F(Runs, ReplyStaysAsTheCallbackLeftIt) {
  // The secure side checks that the size comes back as it left it.
  EXPECT_EQ(play(1000, {{.result = 99, .text = "kept", .data = {1, 2, 3}, .reply_size = 1},
                           {.result = 99, .reply_size = 0xFFFFFFFF}, {.result = 0, .data_len = 2}}),
      FP_OK);
  EXPECT_EQ(folder.contents("orva_sensor_test_NS.log"), kDateLine + "kept");
  EXPECT_EQ(folder.contents("fp_data.bin"), "\x01\x02");
}

// The data file's path is that of the set-up.
TEST_F(Runs, CallbackChangesTheFolderText) {
  std::string where = folder.path();
  const auto change = [](void *text, uint32_t, const sensor_test_request *, uint32_t,
                          sensor_test_reply *reply, uint32_t *) -> int32_t {
    static_cast<std::string *>(text)->back() = '?';
    reply->result = ORVA_TEST_FINISH;
    reply->data_len = 1;
    return 0;
  };
  EXPECT_EQ(orvaFpSensorTest(1000, 0, 0, 0, change, &where, 0, 0, where.c_str()), FP_OK);
  EXPECT_THAT(support::take_journal(),
      testing::HasSubstr("fopen DIR/fp_data.bin wb\n4:317 Save bin=DIR/fp_data.bin\n"));
}

TEST_F(Runs, PauseEndsWithItsTimeOrAnotherFailure) {
  for (const int error : {EINTR, EINVAL}) {
    int pauses = 0;
    support::libc().note = [&](const std::string &what) -> std::optional<int> {
      if (!what.starts_with("usleep")) return std::nullopt;
      support::libc().monotonic->tv_sec += error == EINTR;
      ++pauses;
      return error;
    };
    EXPECT_EQ(play(1000, {{.result = 21}, {.result = 37}}), FP_OK);
    EXPECT_EQ(pauses, 1) << error;
  }
}

// ---- Saving --------------------------------------------------------------------------------

TEST_F(Runs, FailedOpenWithoutAnErrorNumberIsLogged) {
  support::libc().note = [](const std::string &what) {
    return what.starts_with("fopen") ? std::optional(0) : std::nullopt;
  };
  EXPECT_EQ(play(1002, {{.result = 0, .text = "", .data = {1}}}), FP_OK);
  const std::string journal = support::take_journal();
  EXPECT_THAT(journal, testing::HasSubstr("6:544 Save bin fail, errno=0\n"));
  EXPECT_THAT(journal, testing::HasSubstr("6:638 Save SNR result log fail, errno=0\n"));
}

TEST_F(Runs, DataLength) {
  std::string block(SENSOR_TEST_DATA_SIZE, '\0');
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 7 + i / 251);
  for (const auto &[data_len, saved] : {std::pair{0, 0}, {-1, 0}, {INT32_MIN, 0}, {1, 1},
           {512000, 512000}, {512001, 512000}, {INT32_MAX, 512000}}) {
    EXPECT_EQ(play(1000, {{.result = 0,
                             .text = "t",
                             .data = {block.begin(), block.end()},
                             .data_len = data_len}}),
        FP_OK);
    EXPECT_TRUE(folder.contents("fp_data.bin") == block.substr(0, static_cast<size_t>(saved)))
        << data_len;
    EXPECT_EQ(folder.files().size(), saved > 0 ? 2u : 1u) << data_len;
    const std::string cut =
        "6:315 sensor_test data_len = " + std::to_string(data_len) + ", only 512000 bytes saved\n";
    EXPECT_EQ(support::take_journal().find(cut) != std::string::npos, saved > 0 && data_len > saved)
        << data_len;
  }
}

struct text_case {
  size_t length;  // filled up with x in front of end
  std::string end;
  size_t kept;
  bool no_date = false;
};

const text_case kTexts[] = {
    {0, "", 0},
    {992, "", 992},
    {993, "", 992},
    {2048, "", 992},             // no NUL in the field
    {993, "\xE2\x82\xAC", 990},  // a character is not cut in two
    {994, "\xE2\x82\xAC", 991},
    {995, "\xE2\x82\xAC", 992},
    {995, "\xF0\x9F\x98\x80", 991},
    {996, "\xF0\x9F\x98\x80", 992},
    {994, "\xF0\xBF\xBF\xBF\xBF\xBF", 992},  // not UTF-8: cut anywhere
    {2048, std::string(2048, '\xBF'), 992},
    {1100, "", 1017, true},
};

TEST_F(Runs, ResultTextLength) {
  for (const text_case &c : kTexts) {
    const std::string text = std::string(c.length - c.end.size(), 'x') + c.end;
    for (const bool gmtime_fails : {true, false}) {
      support::libc().gmtime_fails = c.no_date && gmtime_fails;
      support::libc().asctime_fails = c.no_date && !gmtime_fails;
      EXPECT_EQ(play(1002, {{.result = 35, .text = text}}), FP_OK);
      EXPECT_EQ(folder.contents("orva_sensor_test_SNR.log"),
          (c.no_date ? "Date: " : kDateLine) + text.substr(0, c.kept));
      const std::string cut = "6:636 sensor_test result text too long, " +
                              std::to_string(text.size() - c.kept) + " of " +
                              std::to_string(text.size()) + " bytes cut\n";
      EXPECT_EQ(support::take_journal().find(cut) != std::string::npos, c.kept < text.size());
    }
  }
}

// 230 characters fit beside the longest name, "/orva_sensor_test_SNR.log", and 243 beside the
// data's.
TEST_F(Runs, FolderPathThatDoesNotFitIsNeverUsedCut) {
  for (const size_t length : {230u, 231u, 243u, 244u, 2000u}) {
    const std::string path = folder / std::string(length - folder.path().string().size() - 1, 'd');
    if (length < 250) std::filesystem::create_directory(path);
    support::start_journal("", false, path);
    EXPECT_EQ(play(1002, {{.result = 0, .text = "t", .data = {1}}}, path.c_str()), FP_OK);
    const std::string journal = support::take_journal();
    const auto holds = [&](const std::string &text) {
      return journal.find(text) != std::string::npos;
    };
    for (const auto &[name, limit, error] :
        {std::tuple{"orva_sensor_test_SNR.log", 230u, "6:638 Save SNR result log"},
            {"fp_data.bin", 243u, "6:544 Save bin"}}) {
      const bool fits = length <= limit;
      const std::string file = std::string("DIR/") + name + "\n";
      EXPECT_EQ(holds("\nremove " + file) || journal.starts_with("remove " + file), fits)
          << length << name;
      EXPECT_EQ(holds("sensor_test path too long, not removed: " + file), !fits) << length << name;
      EXPECT_EQ(holds(std::string(error) + " fail, errno=36\n"), !fits) << length << name;
      EXPECT_EQ(access((path + "/" + name).c_str(), F_OK) == 0, fits) << length << name;
    }
    std::error_code none;
    std::filesystem::remove_all(path, none);
  }
}

struct path_case {
  const char *dest;  // contents on entry
  int32_t room;      // bytes of the buffer, as dest_len
  const char *src1;
  const char *src2;
  const char *composed;          // null: refused, and dest unchanged
  const char *logged = nullptr;  // where it is not what is given
};

const path_case kPaths[] = {
    {"old", 8, "/tmp", "ab", "/tmp/ab"},
    {"old", 7, "/tmp", "ab", nullptr},
    {"x", 2, "", "", "/"},
    {"x", 2, "%", "d", nullptr},
    {"logged whole", 2, "", "", "/"},
    {"x", 0, "", "", nullptr},
    {"x", INT32_MIN, "", "", nullptr},
    {"x", 2, nullptr, "b", nullptr, "dest=x, dest len=2, src1=(null), src2=b"},
    {"x", 2, "a", nullptr, nullptr, "dest=x, dest len=2, src1=a, src2=(null)"},
};

TEST_F(Runs, ConfirmSavePath) {
  for (const path_case &c : kPaths) {
    const size_t size = std::max(strlen(c.dest) + 1, static_cast<size_t>(std::max(c.room, 0)));
    support::guarded_buffer<char> dest(size, support::guard::kEnd, 0);
    memcpy(dest.data(), c.dest, strlen(c.dest));
    EXPECT_EQ(confirm_save_path(dest.data(), c.room, c.src1, c.src2), c.composed != nullptr);
    const std::string logged = c.logged != nullptr ? c.logged
                                                   : "dest=" + std::string(c.dest) +
                                                         ", dest len=" + std::to_string(c.room) +
                                                         ", src1=" + c.src1 + ", src2=" + c.src2;
    EXPECT_EQ(support::take_journal(), "4:confirm_save_path:95 Save " + logged + "\n");
    EXPECT_STREQ(dest.data(), c.composed != nullptr ? c.composed : c.dest);
  }
  // What overlaps the bytes to be written is refused.
  char buffer[16] = "ab";
  const std::tuple<const char *, const char *, const char *> overlaps[] = {{buffer, "c", "ab"},
      {"/", buffer + 1, "ab"}, {buffer + 3, "ab", "ab"}, {"ab", buffer + 4, "ab/"}};
  for (const auto &[src1, src2, after] : overlaps) {
    EXPECT_EQ(confirm_save_path(buffer, 16, src1, src2), after[2] == '/') << after;
    EXPECT_STREQ(buffer, after);
  }
  support::take_journal();
  EXPECT_EQ(confirm_save_path(nullptr, 10, "a", "b"), 0);
  EXPECT_EQ(support::take_journal(), "4:confirm_save_path:90 addr of destination is NULL !!\n");
}

// ---- Resources -----------------------------------------------------------------------------

int32_t finish_with_data(
    void *, uint32_t, const sensor_test_request *, uint32_t, sensor_test_reply *reply, uint32_t *) {
  reply->result = ORVA_TEST_FINISH;
  reply->data_len = 1;
  reply->data[0] = 7;
  return 0;
}

TEST_F(Runs, AllocatesNothingOnAStackOf1MiB) {
  // No journal, which allocates, and files that cannot be opened, for which libc allocates.
  play(1001, {{.result = 37}});
  support::stop_journal();
  support::libc().opened = []() -> FILE * { return nullptr; };
  const auto runs = [](void *path) -> void * {
    const auto run = [&] {
      return orvaFpSensorTest(
          1000, 0, 0, 0, finish_with_data, nullptr, 0, 0, static_cast<char *>(path));
    };
    EXPECT_EQ(run(), FP_OK);  // the C library sets its time zone up
    const size_t before = support::mallocs_on_this_thread();
    EXPECT_EQ(run(), FP_OK);
    EXPECT_EQ(support::mallocs_on_this_thread(), before);
    return nullptr;
  };
  std::string path = folder.path();
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
#ifndef __SANITIZE_THREAD__  // which keeps half of such a stack for itself
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 1 << 20), 0);
#endif
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, runs, path.data()), 0);
  pthread_join(thread, nullptr);
}

}  // namespace
