// Logging, file, memory and time calls.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <orva_fp/file.h>
#include <orva_fp/log.h>
#include <orva_fp/memory_time.h>

#include "support/libc_stand_ins.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace {

using support::log_line;
using testing::ElementsAre;

TEST(Log, LevelsTextAndLength) {
  const std::string text = std::string(1022, 'a') + "bc" + std::string(976, 'd');
  const std::string kept = text.substr(0, 1023);
  const char *volatile none = nullptr;  // the compiler warns of a null that it sees
  support::clear_log();
  for (uint32_t level : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 0xFFFFFFFFu}) {
    output_log(level, "(TAG)", "file_name", "function_name", 10, "a=%u %s", level, "100%s");
    output_log(level, "(TAG)", "file_name", "function_name", 10, none, 0);
  }
  output_log(4, "(FPLOG)", "f", "f", 1, "%s", text.c_str());
  output_nw_orva_log("file_name", "function_name", 187, "x %d %s", 1, "100%s");
  output_nw_orva_log("f", "f", 1, "%s", text.c_str());
  output_nw_orva_log("f", "f", 1, none, 0);
  EXPECT_THAT(support::log_lines(),
      ElementsAre(log_line{4, "(TAG)", "a=4 100%s \n"}, log_line{6, "(TAG)", "a=6 100%s \n"},
          log_line{4, "(FPLOG)", kept + " \n"}, log_line{6, "(FPLOG)", "x 1 100%s"},
          log_line{6, "(FPLOG)", kept}));
}

// A stream without contents whose position at the end tells a size.
template <off64_t kSize>
FILE *make_short_stream() {
  static off64_t position;
  cookie_io_functions_t calls{};
  calls.read = [](void *, char *, size_t) -> ssize_t { return 0; };
  calls.seek = [](void *, off64_t *offset, int whence) {
    const off64_t base = whence == SEEK_END ? kSize : whence == SEEK_CUR ? position : 0;
    *offset = position = base + *offset;
    return 0;
  };
  return fopencookie(nullptr, "rb", calls);
}

constexpr int64_t kHuge = int64_t{1} << 62;  // as the end of a folder may tell it

class Files : public testing::Test {
 protected:
  void SetUp() override {
    support::libc().note = [this](const std::string &what) {
      mode = what.substr(what.rfind(' ') + 1);
      return std::nullopt;
    };
  }
  void TearDown() override { support::libc() = {}; }

  std::string mode;  // of the latest fopen
  support::temp_folder folder;
};

struct read_case {
  const char *name;    // of a file in the folder, or null
  FILE *(*opened)();   // makes the stream, where it is not the file's
  int32_t results[2];  // of file_read and text_read
  int64_t size;
  std::string contents;
};

const read_case kReads[] = {
    {"file", nullptr, {0, 0}, 6, std::string("a\0b\r\n\xFF", 6)},
    {"empty", nullptr, {0, 0}, 0, ""},
    {"missing", nullptr, {-1, -1}, -77, ""},  // nothing is written to the out places
    {nullptr, nullptr, {-1, -1}, -77, ""},
    {"short", make_short_stream<100>, {-3, 0}, 100, ""},
    {"huge", make_short_stream<kHuge>, {-2, -2}, kHuge, ""},
};

TEST_F(Files, Read) {
  for (const read_case &c : kReads) {
    const std::string file = c.name != nullptr ? folder / c.name : "null";
    const char *path = c.name != nullptr ? file.c_str() : nullptr;
    if (c.size >= 0) std::ofstream(file, std::ios::binary) << c.contents;
    support::libc().opened = c.opened;
    for (const bool text : {false, true}) {
      SCOPED_TRACE(file + (text ? " text_read" : " file_read"));
      auto *read = text ? text_read : file_read;
      const int32_t result = c.results[text];
      uint8_t unchanged = 0;
      uint8_t *buffer = &unchanged;
      int64_t size = -77;
      errno = 0;
      EXPECT_EQ(read(path, &buffer, &size), result);
      EXPECT_TRUE(result != -1 || errno == (path == nullptr ? EFAULT : ENOENT));
      EXPECT_EQ(mode, path == nullptr ? mode : text ? "r" : "rb");
      EXPECT_EQ(size, c.size);
      EXPECT_EQ(buffer == nullptr, result == -2);
      EXPECT_EQ(buffer == &unchanged, result == -1);
      EXPECT_EQ(c.contents.empty() || memcmp(buffer, c.contents.data(), 6) == 0, true);
      if (buffer != &unchanged) sys_free(buffer);
      EXPECT_EQ(read(path, nullptr, nullptr), result == -1 ? -1 : -2);
    }
  }
}

TEST_F(Files, ReadOfAStream) {
  uint8_t *buffer = nullptr;
  int64_t size = -77;
  uint64_t count = 99;
  EXPECT_EQ(ffread(nullptr, &buffer, &size, &count), -1);
  EXPECT_EQ(size, -77);

  int ends[2];  // a pipe has no size
  ASSERT_EQ(pipe(ends), 0);
  close(ends[1]);
  EXPECT_EQ(ffread(fdopen(ends[0], "rb"), &buffer, &size, &count), -2);
  EXPECT_EQ(size, -1);
  EXPECT_EQ(count, 99u) << "nothing was read, and nothing is told";
  EXPECT_EQ(close(ends[0]), -1) << "the stream is closed on every path";

  EXPECT_EQ(ffread(make_short_stream<100>(), &buffer, &size, &count), 0);
  EXPECT_EQ(count, 0u);
  sys_free(buffer);
}

struct write_case {
  int32_t (*write)(const char *path, const void *data, uint64_t size);
  const char *mode;
  const char *after;  // contents "old" before, "new" written
  const char *after_null;
};

TEST_F(Files, Write) {
  for (const write_case &c :
      {write_case{file_write, "wb", "new", ""}, write_case{text_write, "w", "new", ""},
          write_case{text_append, "a+", "oldnew", "old"}}) {
    for (const auto &[before, data, after] : {std::tuple{"old", "new!", c.after},
             {"old", static_cast<const char *>(nullptr), c.after_null}, {"", "new!", "new"}}) {
      std::filesystem::remove(folder / "file");
      if (*before != 0) std::ofstream(folder / "file") << before;
      EXPECT_EQ(c.write((folder / "file").c_str(), data, 3), 0);
      EXPECT_EQ(mode, c.mode);
      EXPECT_EQ(folder.contents("file"), after);
    }
    errno = 0;
    EXPECT_EQ(c.write((folder / "missing/file").c_str(), "new", 3), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(c.write(nullptr, "new", 3), -1);
  }
  EXPECT_EQ(ffwrite(nullptr, "x", 1), -1);
}

TEST(Memory, FreshBlocksHold0x7FAndAreFreed) {
  const std::string fresh(2000, '\x7F');
  const size_t before = mallinfo2().uordblks;
  auto *block = static_cast<char *>(sys_alloc(0, 2000));
  EXPECT_EQ(memcmp(block, fresh.data(), 2000), 0);
  memset(block, 1, 2000);
  block = static_cast<char *>(sys_realloc_no_keep(block, 2000));
  EXPECT_EQ(memcmp(block, fresh.data(), 2000), 0);
  EXPECT_LT(mallinfo2().uordblks, before + 2 * 2000);
  sys_free(block);
  EXPECT_EQ(mallinfo2().uordblks, before);
  sys_free(nullptr);
  sys_free(sys_realloc_no_keep(nullptr, 1));
  EXPECT_EQ(sys_get_heap_size(), 0u);
}

TEST(Memory, FillAndCopy) {
  char bytes[9];
  const struct {
    std::function<void *()> run;
    const void *result;
    std::string after;  // "abcdefgh" before
  } cases[] = {
      {[&] { return sys_memset(bytes + 1, 0x1FF, 2); }, bytes + 1,
          "a\xFF\xFF"
          "defgh"},
      {[&] { return sys_memclear(bytes + 2, 1); }, bytes + 2, std::string("ab\0defgh", 8)},
      {[&] { return INIT_FULL_MEMORY(bytes, 1); }, bytes,
          "\x7F"
          "bcdefgh"},
      {[&] { return sys_memmove(bytes + 1, bytes, 6); }, bytes + 1, "aabcdefh"},
      {[&] { return sys_memmove(bytes, bytes + 1, 1); }, bytes, "bbcdefgh"},
      {[&] { return sys_memcpy(bytes, bytes + 4, 3); }, bytes, "efgdefgh"},
      {[&] { return sys_memcpy(bytes, bytes + 4, 1); }, bytes, "ebcdefgh"},
      {[] { return sys_memcpy(nullptr, nullptr, 0); }, nullptr, "abcdefgh"},
      {[] { return sys_memset(nullptr, 0, 0); }, nullptr, "abcdefgh"},
      {[] { return sys_memmove(nullptr, nullptr, 0); }, nullptr, "abcdefgh"},
  };
  for (const auto &c : cases) {
    memcpy(bytes, "abcdefgh", 9);
    EXPECT_EQ(c.run(), c.result);
    EXPECT_EQ(std::string(bytes, 8), c.after);
  }
}

TEST(Time, ClockAndDelays) {
  std::vector<std::string> asked;
  support::libc().note = [&](const std::string &what) {
    asked.push_back(what);
    return asked.size() == 2 ? std::optional(EINTR) : std::nullopt;
  };
  EXPECT_EQ(sys_delay(15), 0);
  EXPECT_EQ(plat_sleep_time(4294967), -1) << "the system's own result";
  EXPECT_THAT(asked, ElementsAre("usleep 15000", "usleep 4294967000"));

  support::libc().monotonic = timespec{5, 999999999};
  EXPECT_EQ(sys_get_time(), 5999u);
  EXPECT_EQ(plat_get_time(), 5999u);
  support::libc().monotonic = timespec{5000000000, 1000000};
  EXPECT_EQ(sys_get_time(), 5000000000001u);
  support::libc() = {};
  EXPECT_EQ(get_temp_time(42), 42u);
  EXPECT_EQ(get_time_result(~uint64_t{0}), ~uint64_t{0});
}

}  // namespace
