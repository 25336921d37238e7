// Whole runs of orvaFpSensorTest: what they do in which order, send, log, save and return. A run's
// expected journal is joined from rows of a table. The rows also decide what fails and how polls
// end.
#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <map>
#include <pthread.h>
#include <sys/stat.h>
#include <thread>

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
using support::text;

enum { kNormal, kSnr1, kSnr2, kOpening };  // families of scripts, and what opens the driver
enum { kOn = -1, kCame = -2, kCameNot = -3 };
constexpr uint32_t kFails = 12345;  // in the place of a code

// A code and what a family does with it.
struct row {
  int family;
  uint32_t code;
  // kOn; kCame or kCameNot, the outcome that the following requests carry; or the status with
  // which the run ends.
  int32_t next;
  const char *journal;

  bool ends() const { return next >= 0; }
};

const row kRows[] = {
    {kOpening, 0, kOn, "power 1 | set-clock 0"},
    {kOpening, 0, 209, "power 1!"},
    {kOpening, 0, 209, "power 1 | set-clock 0!"},

    {kNormal, 23, kOn, "set-clock 0 | info-memory 0"},
    {kNormal, 23, kOn, "set-clock 0! | 6:270 sensor_test ORVA_READ_SENSOR_INFO_START fail 209"},
    {kNormal, 23, kOn,
        "set-clock 0 | info-memory 0! | 6:270 sensor_test ORVA_READ_SENSOR_INFO_START fail 209"},
    {kNormal, 24, kOn, "set-clock 0 | info-memory 1 | reset 0 | usleep 15000"},
    {kNormal, 24, kOn,
        "set-clock 0! | 6:278 sensor_test ORVA_READ_SENSOR_INFO_END fail 209 | reset 0 | usleep "
        "15000"},
    {kNormal, 24, kOn,
        "set-clock 0 | info-memory 1 | reset 0! | 6:284 sensor_test ORVA_RESET fail 2 209"},
    {kNormal, 21, kOn, "reset 0 | usleep 15000"},
    {kNormal, 21, kOn, "reset 0 | usleep 15000! | usleep 13000! | usleep 11000"},
    {kNormal, 21, kOn, "reset 0! | 6:293 sensor_test ORVA_RESET fail 209"},
    {kNormal, 41, kOn, "power 0 | usleep 10000 | power 1 | usleep 10000"},
    {kNormal, 41, kOn,
        "power 0! | 6:302 sensor_test ORVA_POWER_OFF_ON off fail 209 | usleep 10000 | power 1 | "
        "usleep 10000"},
    {kNormal, 41, kOn,
        "power 0 | usleep 10000 | power 1! | 6:306 sensor_test ORVA_POWER_OFF_ON on fail 209 | "
        "usleep 10000"},
    {kNormal, 12, kOn, ""},
    {kNormal, 0xFFFFFFFF, kOn, ""},
    {kNormal, kFails, 35, ""},
    {kNormal, 37, 0, ""},
    {kNormal, 0, 0, "fopen DATA wb | 4:317 Save bin=DATA | 4:369 save result=NS | fopen NS wb"},
    {kNormal, 35, 0,
        "fopen DATA wb! | 6:315 Save bin fail, errno=28 | 4:317 Save bin=DATA | 4:369 save "
        "result=NS | fopen NS wb"},
    {kNormal, 0, 0,
        "fopen DATA wb | 4:317 Save bin=DATA | 4:369 save result=NS | fopen NS wb! | 6:371 Save NS "
        "result log fail, errno=28"},

    {kSnr1, 23, kOn, "set-clock 0 | info-memory 0 | 3:475 pfnCustomRequest SNR1 end 0 23"},
    {kSnr1, 23, kOn,
        "set-clock 0 | info-memory 0! | 6:426 sensor_test snr_1 ORVA_READ_SENSOR_INFO_START fail "
        "209 | 3:475 pfnCustomRequest SNR1 end 209 23"},
    {kSnr1, 24, kOn, "reset 0 | usleep 15000 | 3:475 pfnCustomRequest SNR1 end 0 24"},
    {kSnr1, 24, kOn,
        "reset 0! | 6:440 sensor_test ORVA_RESET fail 2 209 | 3:475 pfnCustomRequest SNR1 end 209 "
        "24"},
    {kSnr1, 21, kOn, "3:475 pfnCustomRequest SNR1 end 0 21"},
    {kSnr1, 41, kOn, "3:475 pfnCustomRequest SNR1 end 0 41"},
    {kSnr1, 1, kOn, "3:475 pfnCustomRequest SNR1 end 0 1"},
    {kSnr1, 12, kCame,
        "int-enable 1 | poll 100 in | 4:WAIT:65 sensor_test interrupt tirgger | int-disable 1 | "
        "3:475 pfnCustomRequest SNR1 end 0 12"},
    {kSnr1, 12, kCameNot,
        "int-enable 1 | poll 100 none | 4:WAIT:67 sensor_test interrupt timeout | int-disable 1 | "
        "3:475 pfnCustomRequest SNR1 end 0 12"},
    {kSnr1, 12, 209, "int-enable 1! | 6:416 sensor_test snr_1 ORVA_WAIT_INTERRUPT fail 209"},
    {kSnr1, kFails, 35, ""},
    {kSnr1, 0, 0, "3:475 pfnCustomRequest SNR1 end 0 0"},
    {kSnr1, 35, 0, "3:475 pfnCustomRequest SNR1 end 0 35"},
    {kSnr1, 37, 0, "3:475 pfnCustomRequest SNR1 end 0 0"},

    {kSnr2, 23, kOn, "set-clock 0 | info-memory 0"},
    {kSnr2, 23, kOn, "set-clock 0! | 6:512 sensor_test snr_2 ORVA_READ_SENSOR_INFO_START fail 209"},
    {kSnr2, 24, kOn, "set-clock 0 | info-memory 1"},
    {kSnr2, 24, kOn, "set-clock 0! | 6:520 sensor_test snr_2 ORVA_READ_SENSOR_INFO_END fail 209"},
    {kSnr2, 21, kOn, ""},
    {kSnr2, 41, kOn, ""},
    {kSnr2, 36, kOn, ""},
    {kSnr2, 12, kCame,
        "int-enable 1 | poll 1000 both | 4:WAIT:65 sensor_test interrupt tirgger | int-disable 1"},
    {kSnr2, 12, kCameNot,
        "int-enable 1 | poll 1000 error | 4:WAIT:67 sensor_test interrupt timeout | int-disable 1"},
    {kSnr2, 12, kCameNot,
        "int-enable 1 | poll 1000 fails | 4:WAIT:67 sensor_test interrupt timeout | int-disable 1"},
    {kSnr2, 12, 209,
        "int-enable 1 | poll 1000 in | 4:WAIT:65 sensor_test interrupt tirgger | int-disable 1! | "
        "6:534 sensor_test snr_2 ORVA_WAIT_INTERRUPT fail 209"},
    {kSnr2, kFails, 35, ""},
    {kSnr2, 37, 0, ""},
    {kSnr2, 0, 0, "fopen DATA wb | 4:636 save result=SNR | fopen SNR wb"},
    {kSnr2, 35, 0,
        "fopen DATA wb | 4:636 save result=SNR | fopen SNR wb! | 6:638 Save SNR result log fail, "
        "errno=28"},
    {kSnr2, 0, 0,
        "fopen DATA wb! | 6:544 Save bin fail, errno=28 | 4:636 save result=SNR | fopen SNR wb"},
};

// 2001-09-09 01:46:40 UTC.
constexpr time_t kNow = 1000000000;
const std::string kDateLine = "Date: Sun Sep  9 01:46:40 2001\n";
const std::string kText = "VERDICT: 100% %s";
const std::string kData("\x09\0\x08", 3);

// Short forms of the journal.
constexpr const char *kFiles[][2] = {{"DATA", "fp_data.bin"}, {"NS", "orva_sensor_test_NS.log"},
    {"SNR", "orva_sensor_test_SNR.log"}};

std::string version_lines(int32_t script_id) {
  return text(
      "4:195 sensor_test version X = V2.0.1, script_id = %d, options = 77 pDataLogPath = "
      "DIR\n4:197 sensor_test build = 298, patch = 600\n",
      script_id);
}

std::string setup(int32_t script_id) {
  const bool known = script_id >= 1000 && script_id <= 1005;
  return lines(!known               ? ""
               : script_id % 3 == 1 ? "remove NS | 4:172 remove NS"
                                    : "remove SNR | 4:179 remove SNR") +
         lines("remove DATA | 4:185 remove DATA") + version_lines(script_id);
}

std::string closing(int32_t status) { return text("4:655 orvaFpSensorTest() ret = %d\n", status); }

// One run of a session, as rows; the last of them ends it.
struct run {
  int32_t script_id;
  std::vector<const row *> rows;

  int32_t status() const { return rows.back()->next; }

  std::vector<exchange_step> steps() const {
    std::vector<exchange_step> steps;
    for (const row *r : rows) {
      if (r->family == kOpening) continue;
      const int32_t failure = r->code == kFails ? -5 : 0;
      steps.push_back({.result = r->code, .text = kText, .data = {9, 0, 8}, .failure = failure});
    }
    return steps;
  }

  std::string journal() const {
    // Logged after every callback with its status and the reply's result and data_len.
    static const char *const kExchanges[] = {"4:255 sensor_test normal scan = %d %d %d",
        "4:394 orvaFpSensorTest pfnCustomRequest SNR1 %d",
        "4:495 orvaFpSensorTest pfnCustomRequest SNR2 ret = %d, result = %d"};
    std::string journal = setup(script_id);
    int32_t interrupt = 0, result = 37, data_len = 0;
    for (const row *r : rows) {
      if (r->family != kOpening) {
        const bool fails = r->code == kFails;
        if (!fails) result = static_cast<int32_t>(r->code), data_len = 3;
        journal += text("request %d %d\n", script_id, interrupt) +
                   text(kExchanges[r->family], fails ? -5 : 0, result, data_len) + "\n";
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

  void start(const std::string &expected, const std::string &where = "") {
    const std::string path = where.empty() ? folder.path().string() : where;
    support::short_forms forms = {{"wait_interrupt_in_sensor_test", "WAIT"}};
    for (const auto &[form, name] : kFiles) forms.push_back({path + "/" + name, form});
    forms.push_back({path, "DIR"});
    support::start_journal(expected, false, forms);
    support::libc().now = kNow;
  }

  static void close_driver() {
    EXPECT_EQ(orvaFpDeviceClose(g_fp_device_handle), FP_OK);
    g_fp_device_handle = 0;
  }

  static bool journal_has(const std::string &entries) {
    return support::take_journal().find(lines(entries)) != std::string::npos;
  }

  // Runs a script against a secure side that plays the steps.
  int32_t play(int32_t script_id, std::vector<exchange_step> steps, const char *where = nullptr) {
    secure_side side(std::move(steps));
    side.observe([](const simulator::exchange &e) {
      support::note(text("request %d %d", e.request.script_id, e.request.interrupt_triggered));
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
    for (const auto &[form, name] : kFiles) {
      if (journal.find(text("remove %s\n", form)) != std::string::npos) files.erase(name);
      if (journal.find(text("fopen %s wb\n", form)) != std::string::npos)
        files[name] = name == kFiles[0][1] ? kData : kDateLine + kText;
    }
  }

  support::temp_folder folder;
  std::map<std::string, std::string> files;
};

// Whatever the rows, in whatever order over several runs: each does what it does alone, the n-th
// command may fail in a later run, and nothing is left behind.
TEST_F(Runs, Sessions) {
  support::random_source random(1);
  const auto play_some = [&](int sessions) {
    for (int i = 0; i < sessions && !HasFailure(); ++i) {
      SCOPED_TRACE(i);
      std::vector<run> session(1 + random.below(4));
      for (run &one : session) {
        one.script_id = 1000 + static_cast<int32_t>(random.below(6));
        while (one.rows.empty() || !one.rows.back()->ends()) {
          const row &r = kRows[random.below(std::size(kRows))];
          const bool opens = &one == &session[0] && one.rows.empty();
          if (r.family == (opens ? kOpening : (one.script_id - 1000) % 3)) one.rows.push_back(&r);
        }
      }
      g_sensor_test_abort = random.below(2) != 0;  // no matter for waits with a limit
      play_session(session);
    }
    g_sensor_test_abort = 0;
    for (const auto &file : std::exchange(files, {})) remove((folder / file.first).c_str());
    support::stop_journal();
    simulator::detach();
  };
  // On a thread, because malloc counts what a thread has freed as free only when it has ended. The
  // count is 0 where a sanitizer owns malloc.
  const auto left_behind = [&](int sessions) {
    std::thread(play_some, sessions).join();
    return std::pair(support::open_descriptors(), mallinfo2().uordblks);
  };
  left_behind(50);  // the C library allocates once
  const auto before = left_behind(200);
  const auto after = left_behind(ORVA_TEST_SESSIONS);
  EXPECT_EQ(after.first, before.first);
  EXPECT_LT(after.second, before.second + 1000) << "more than malloc's rounding";
}

// ---- Set-up --------------------------------------------------------------------------------

TEST_F(Runs, SetupThatEndsTheRun) {
  EXPECT_EQ(orvaFpSensorTest(1000, 0, 0, 0, secure_side::request, nullptr, 0, 0, nullptr), 1);
  EXPECT_EQ(support::take_journal(), "6:162 sensor_test pDataLogPath == NULL\n" + closing(1));
  for (const int32_t script_id : {999, 1006, INT32_MIN}) {
    EXPECT_EQ(play(script_id, {}), FP_OK);
    EXPECT_EQ(support::take_journal(), setup(script_id) + "power 1\nset-clock 0\n" + closing(0));
    close_driver();
  }
  for (const auto node : {simulator::node_state::kMissing, simulator::node_state::kNotOpenable}) {
    simulator::attach({.node = node});
    EXPECT_EQ(play(1002, {}), FP_ERR_NO_DEVICE);
    EXPECT_EQ(support::take_journal(), setup(1002) + closing(210));
    EXPECT_EQ(g_fp_device_handle, 0);
  }
}

// ---- Callback ------------------------------------------------------------------------------

int32_t finish_with_data(
    void *, uint32_t, const sensor_test_request *, uint32_t, sensor_test_reply *reply, uint32_t *) {
  reply->result = ORVA_TEST_FINISH;
  reply->data_len = 1;
  reply->data[0] = 7;
  return 0;
}

TEST_F(Runs, CallbackThatWritesLessThanItShould) {
  const auto silent = [](auto...) -> int32_t { return 0; };
  const auto run = [&](int32_t script_id, sensor_test_request_fn request) {
    return orvaFpSensorTest(script_id, 0, 0, 0, request, nullptr, 0, 0, folder.path().c_str());
  };
  for (int32_t script_id = 1000; script_id <= 1005; ++script_id) {
    EXPECT_EQ(run(script_id, nullptr), FP_ERR_REQUEST_FAILED);
    EXPECT_EQ(run(script_id, silent), FP_OK);
  }
  EXPECT_THAT(folder.files(), testing::IsEmpty());
  const auto fills_text = [](auto, auto, auto, auto, sensor_test_reply *reply, auto) -> int32_t {
    memset(reply->result_text, 'x', sizeof reply->result_text);
    return 1;
  };
  EXPECT_EQ(run(1000, fills_text), FP_ERR_REQUEST_FAILED);
  EXPECT_EQ(run(1000, finish_with_data), FP_OK);
  EXPECT_EQ(folder.contents("orva_sensor_test_NS.log"), kDateLine);
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
  static std::string where;
  where = folder.path();
  const auto change = [](auto... arguments) {
    where.back() = '?';
    return finish_with_data(arguments...);
  };
  EXPECT_EQ(orvaFpSensorTest(1000, 0, 0, 0, change, nullptr, 0, 0, where.c_str()), FP_OK);
  EXPECT_TRUE(journal_has("fopen DATA wb | 4:317 Save bin=DATA"));
}

TEST_F(Runs, PauseEndsWithItsTimeOrAnotherFailure) {
  for (const int error : {EINTR, EINVAL}) {
    int pauses = 0;
    support::libc().note = [&](const std::string &what) -> std::optional<int> {
      if (!what.starts_with("usleep")) return std::nullopt;
      if (error == EINTR) support::libc().monotonic = timespec{2, 14000000};  // 15 ms on
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
  EXPECT_EQ(play(1002, {{.text = "", .data = {1}}}), FP_OK);
  EXPECT_TRUE(
      journal_has("6:544 Save bin fail, errno=0 | 4:636 save result=SNR | 6:638 Save SNR result "
                  "log fail, errno=0"));
}

TEST_F(Runs, DataLength) {
  std::string block(SENSOR_TEST_DATA_SIZE, '\0');
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 7 + i / 251);
  for (const auto &[data_len, saved] : {std::pair{0, 0}, {-1, 0}, {INT32_MIN, 0}, {1, 1},
           {512000, 512000}, {512001, 512000}, {INT32_MAX, 512000}}) {
    exchange_step end = {.text = "t", .data = {block.begin(), block.end()}, .data_len = data_len};
    EXPECT_EQ(play(1000, {end}), FP_OK);
    EXPECT_TRUE(folder.contents("fp_data.bin") == block.substr(0, static_cast<size_t>(saved)))
        << data_len;
    EXPECT_EQ(folder.files().size(), saved > 0 ? 2u : 1u) << data_len;
    EXPECT_EQ(
        journal_has(text("6:315 sensor_test data_len = %d, only 512000 bytes saved", data_len)),
        saved > 0 && data_len > saved);
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
    {996, "\xE2\x82\xACxxxx", 992},
    {993, "\xF0\x9F\x98\x80", 989},
    {995, "\xF0\x9F\x98\x80", 991},
    {996, "\xF0\x9F\x98\x80", 992},
    {994, "\xF0\xBF\xBF\xBF\xBF\xBF", 992},  // not UTF-8: cut anywhere
    {2048, std::string(2048, '\xBF'), 992},
    {1100, "", 1017, true},
};

TEST_F(Runs, ResultTextLength) {
  for (const text_case &c : kTexts) {
    const std::string whole = std::string(c.length - c.end.size(), 'x') + c.end;
    for (const bool gmtime_fails : {true, false}) {
      support::libc().gmtime_fails = c.no_date && gmtime_fails;
      support::libc().asctime_fails = c.no_date && !gmtime_fails;
      EXPECT_EQ(play(1002, {{.result = 35, .text = whole}}), FP_OK);
      EXPECT_EQ(folder.contents("orva_sensor_test_SNR.log"),
          (c.no_date ? "Date: " : kDateLine) + whole.substr(0, c.kept));
      const std::string cut = text("6:636 sensor_test result text too long, %zu of %zu bytes cut",
          whole.size() - c.kept, whole.size());
      EXPECT_EQ(journal_has(cut), c.kept < whole.size());
    }
  }
}

// 230 characters fit beside the longest name, 243 beside that of the data file.
TEST_F(Runs, FolderPathThatDoesNotFitIsNeverUsedCut) {
  play(7, {});
  for (const size_t length : {230u, 231u, 243u, 244u, 2000u}) {
    const std::string path = folder / std::string(length - folder.path().string().size() - 1, 'd');
    mkdir(path.c_str(), 0700);
    start("", path);
    EXPECT_EQ(play(1002, {{.text = "t", .data = {1}}}, path.c_str()), FP_OK);
    const bool log = length <= 230, data = length <= 243;
    EXPECT_EQ(support::take_journal(),
        lines(log ? "remove SNR | 4:179 remove SNR"
                  : "6:179 sensor_test path too long, not removed: SNR") +
            lines(data ? "remove DATA | 4:185 remove DATA"
                       : "6:185 sensor_test path too long, not removed: DATA") +
            version_lines(1002) +
            "request 1002 0\n4:495 orvaFpSensorTest pfnCustomRequest SNR2 ret = 0, result = 0\n" +
            lines(data ? "fopen DATA wb" : "6:544 Save bin fail, errno=36") +
            "4:636 save result=SNR\n" +
            lines(log ? "fopen SNR wb" : "6:638 Save SNR result log fail, errno=36") + closing(0));
  }
}

struct path_case {
  const char *dest;  // contents on entry
  int32_t room;      // bytes of the buffer, as dest_len
  const char *src1;
  const char *src2;
  const char *composed;  // null: refused, and dest unchanged
};

const path_case kPaths[] = {
    {"old", 8, "/tmp", "ab", "/tmp/ab"},
    {"old", 7, "/tmp", "ab", nullptr},
    {"x", 2, "", "", "/"},
    {"x", 2, "%", "d", nullptr},
    {"logged whole", 2, "", "", "/"},
    {"x", 0, "", "", nullptr},
    {"x", INT32_MIN, "", "", nullptr},
    {"x", 2, nullptr, "b", nullptr},
    {"x", 2, "a", nullptr, nullptr},
};

TEST_F(Runs, ConfirmSavePath) {
  for (const path_case &c : kPaths) {
    const size_t size = std::max(strlen(c.dest) + 1, static_cast<size_t>(std::max(c.room, 0)));
    support::guarded_buffer<char> dest(size, support::guard::kEnd, 0);
    memcpy(dest.data(), c.dest, strlen(c.dest));
    EXPECT_EQ(confirm_save_path(dest.data(), c.room, c.src1, c.src2), c.composed != nullptr);
    const auto shown = [](const char *source) { return source != nullptr ? source : "(null)"; };
    EXPECT_EQ(support::take_journal(),
        text("4:confirm_save_path:95 Save dest=%s, dest len=%d, src1=%s, src2=%s\n", c.dest, c.room,
            shown(c.src1), shown(c.src2)));
    EXPECT_STREQ(dest.data(), c.composed != nullptr ? c.composed : c.dest);
  }
  EXPECT_EQ(confirm_save_path(nullptr, 10, "a", "b"), 0);
  EXPECT_EQ(support::take_journal(), "4:confirm_save_path:90 addr of destination is NULL !!\n");
}

// Places in a buffer of "ab", NUL, "cd", NUL.
struct overlap_case {
  int dest;
  int src1;  // -1 for a text elsewhere
  int src2;
  bool composed;
};

const overlap_case kOverlaps[] = {
    {0, 0, -1, false}, {2, 0, -1, false},  // the NUL of the source is where dest begins
    {2, -1, 0, false}, {3, 0, -1, true},   // dest begins right after it
    {3, -1, 0, true}, {0, 2, -1, false},   // the source begins where the last byte is written
    {0, 4, -1, true},                      // it begins right after that
};

TEST_F(Runs, ConfirmSavePathRefusesWhatItWouldOverwrite) {
  for (const overlap_case &c : kOverlaps) {
    char buffer[16] = "ab\0cd";
    const std::string before(buffer, sizeof buffer);
    const char *src1 = c.src1 < 0 ? "z" : buffer + c.src1,
               *src2 = c.src2 < 0 ? "z" : buffer + c.src2;
    const std::string path = std::string(src1) + "/" + src2;
    EXPECT_EQ(confirm_save_path(buffer + c.dest, 10, src1, src2), c.composed) << path;
    EXPECT_EQ(
        c.composed ? path == buffer + c.dest : before == std::string(buffer, sizeof buffer), true)
        << path;
  }
}

// ---- Resources -----------------------------------------------------------------------------

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
