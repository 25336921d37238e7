// Logging, file, memory and time calls.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
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
using testing::IsEmpty;

TEST(Log, WritesInfoAndErrorOnly) {
  for (uint32_t level : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 0xFFFFFFFFu}) {
    support::clear_log();
    output_log(level, "(FPLOG)", "file_name", "function_name", 10, "a=%d", 5);
    if (level == 4 || level == 6) {
      EXPECT_THAT(support::log_lines(),
                  ElementsAre(log_line{static_cast<int>(level), "(FPLOG)", "a=5 \n"}));
    } else {
      EXPECT_THAT(support::log_lines(), IsEmpty()) << level;
    }
  }
}

TEST(Log, DeviceLayer) {
  support::clear_log();
  output_nw_orva_log("file_name", "function_name", 187, "x %d", 1);
  output_nw_orva_log("file_name", "function_name", 187, "%s", "100%s");
  EXPECT_THAT(support::log_lines(),
              ElementsAre(log_line{6, "(FPLOG)", "x 1"}, log_line{6, "(FPLOG)", "100%s"}));
}

TEST(Log, NullFormatWritesNothing) {
  support::clear_log();
  const char *volatile none = nullptr;  // the compiler warns of a null that it sees
  output_log(6, "(FPLOG)", "f", "f", 1, none, 0);
  output_nw_orva_log("f", "f", 1, none, 0);
  EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST(Log, LongMessagesAreCutTo1023Characters) {
  const std::string text = std::string(1022, 'a') + "bc" + std::string(976, 'd');
  const std::string kept = text.substr(0, 1023);
  support::clear_log();
  output_log(4, "(FPLOG)", "f", "f", 1, "%s", text.c_str());
  output_nw_orva_log("f", "f", 1, "%s", text.c_str());
  EXPECT_THAT(support::log_lines(),
              ElementsAre(log_line{4, "(FPLOG)", kept + " \n"}, log_line{6, "(FPLOG)", kept}));
}

class Files : public testing::Test {
 protected:
  void write(const std::string &name, const std::string &contents) const {
    std::ofstream(folder / name, std::ios::binary) << contents;
  }
  std::string path(const std::string &name) const { return folder / name; }

  support::temp_folder folder;
  uint8_t *buffer = nullptr;
  int64_t size = -77;
};

TEST_F(Files, ReadGivesExactlyTheBytes) {
  const std::string contents("a\0b\r\n\xFF", 6);
  write("file", contents);
  for (auto *read : {file_read, text_read}) {
    ASSERT_EQ(read(path("file").c_str(), &buffer, &size), 0);
    EXPECT_EQ(size, 6);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(buffer), 6), contents);
    sys_free(buffer);
  }
}

TEST_F(Files, ReadOfAnEmptyFile) {
  write("file", "");
  ASSERT_EQ(file_read(path("file").c_str(), &buffer, &size), 0);
  EXPECT_EQ(size, 0);
  sys_free(buffer);
}

TEST_F(Files, ReadOfWhatCannotBeOpened) {
  for (auto *read : {file_read, text_read}) {
    for (const char *missing : {static_cast<const char *>(nullptr), "/nonexistent/file"}) {
      errno = 0;
      EXPECT_EQ(read(missing, &buffer, &size), -1);
      EXPECT_EQ(errno, missing == nullptr ? EFAULT : ENOENT);
      EXPECT_EQ(size, -77) << "nothing is written to the out places";
    }
  }
}

TEST_F(Files, StreamWithoutASize) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[1]);
  uint64_t count = 99;
  EXPECT_EQ(ffread(fdopen(ends[0], "rb"), &buffer, &size, &count), -2);
  EXPECT_EQ(size, -1);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(count, 99u) << "nothing was read, and nothing is told";
  EXPECT_EQ(close(ends[0]), -1) << "the stream is closed on every path";
}

TEST_F(Files, StreamNull) {
  uint64_t count = 99;
  EXPECT_EQ(ffread(nullptr, &buffer, &size, &count), -1);
  EXPECT_EQ(ffwrite(nullptr, "x", 1), -1);
  EXPECT_EQ(size, -77);
  EXPECT_EQ(count, 99u);
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

TEST_F(Files, ShortRead) {
  uint64_t count = 99;
  EXPECT_EQ(ffread(make_short_stream<100>(), &buffer, &size, &count), 0);
  EXPECT_EQ(size, 100);
  EXPECT_EQ(count, 0u);
  sys_free(buffer);

  support::libc().opened = make_short_stream<100>;
  EXPECT_EQ(file_read("file", &buffer, &size), -3);
  EXPECT_EQ(size, 100);
  sys_free(buffer);
  EXPECT_EQ(text_read("file", &buffer, &size), 0) << "the count is not compared";
  sys_free(buffer);
  support::libc() = {};
}

// As a folder may tell it.
TEST_F(Files, SizeBeyondAllMemory) {
  constexpr int64_t kHuge = int64_t{1} << 62;
  support::libc().opened = make_short_stream<kHuge>;
  for (auto *read : {file_read, text_read}) {
    uint8_t unchanged = 0;
    buffer = &unchanged;
    EXPECT_EQ(read("file", &buffer, &size), -2);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(size, kHuge);
  }
  support::libc() = {};
}

TEST_F(Files, ReadWithoutOutPlaces) {
  write("file", "abc");
  EXPECT_EQ(file_read(path("file").c_str(), nullptr, nullptr), -2);
  EXPECT_EQ(text_read(path("file").c_str(), &buffer, nullptr), 0);
  sys_free(buffer);
}

struct write_case {
  int32_t (*write)(const char *path, const void *data, uint64_t size);
  const char *after;  // contents "old" before, "new" written
  const char *after_null;
};

TEST_F(Files, Write) {
  for (const write_case &c : {write_case{file_write, "new", ""}, write_case{text_write, "new", ""},
                              write_case{text_append, "oldnew", "old"}}) {
    write("file", "old");
    EXPECT_EQ(c.write(path("file").c_str(), "new!", 3), 0);
    EXPECT_EQ(folder.contents("file"), c.after);

    write("file", "old");
    EXPECT_EQ(c.write(path("file").c_str(), nullptr, 10), 0);
    EXPECT_EQ(folder.contents("file"), c.after_null);

    EXPECT_EQ(c.write(path("created").c_str(), "new", 3), 0);
    EXPECT_EQ(folder.contents("created"), "new");
    unlink(path("created").c_str());

    errno = 0;
    EXPECT_EQ(c.write(path("missing/file").c_str(), "new", 3), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(c.write(nullptr, "new", 3), -1);
  }
}

TEST_F(Files, OpenModes) {
  std::vector<std::string> opened;
  support::libc().note = [&](const std::string &what) {
    opened.push_back(what.substr(what.rfind(' ') + 1));
  };
  const std::string file = path("file");
  file_write(file.c_str(), "x", 1);
  text_write(file.c_str(), "x", 1);
  text_append(file.c_str(), "x", 1);
  file_read(file.c_str(), &buffer, &size);
  sys_free(buffer);
  text_read(file.c_str(), &buffer, &size);
  sys_free(buffer);
  support::libc() = {};
  EXPECT_THAT(opened, ElementsAre("wb", "w", "a+", "rb", "r"));
}

TEST(Memory, FreshBlocksHold0x7F) {
  const std::string fresh(16, '\x7F');
  auto *block = static_cast<char *>(sys_alloc(0, 16));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(std::string(block, 16), fresh);
  memset(block, 1, 16);
  block = static_cast<char *>(sys_realloc_no_keep(block, 16));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(std::string(block, 16), fresh);
  sys_free(block);
  sys_free(nullptr);
  sys_free(sys_realloc_no_keep(nullptr, 1));
  EXPECT_EQ(sys_get_heap_size(), 0u);
}

TEST(Memory, BlocksAreFreed) {
  const size_t before = mallinfo2().uordblks;
  void *block = sys_realloc_no_keep(sys_alloc(0, 2000), 3000);
  const size_t between = mallinfo2().uordblks;
  sys_free(block);
  EXPECT_EQ(mallinfo2().uordblks, before);
  EXPECT_LT(between, before + 2000 + 3000);
}

TEST(Memory, FillAndCopy) {
  char bytes[9] = "abcdefgh";
  EXPECT_EQ(sys_memset(bytes, 0x1FF, 2), bytes);
  EXPECT_EQ(std::string(bytes),
            "\xFF\xFF"
            "cdefgh");
  EXPECT_EQ(sys_memmove(bytes + 1, bytes + 2, 6), bytes + 1);
  EXPECT_EQ(std::string(bytes),
            "\xFF"
            "cdefghh");
  EXPECT_EQ(sys_memcpy(bytes, bytes + 4, 3), bytes);
  EXPECT_EQ(std::string(bytes), "fghefghh");
  sys_memcpy(bytes, bytes + 3, 1);
  sys_memmove(bytes + 1, bytes + 3, 1);
  EXPECT_EQ(std::string(bytes), "eehefghh");
  EXPECT_EQ(INIT_FULL_MEMORY(bytes, 1), bytes);
  EXPECT_EQ(sys_memclear(bytes + 1, 1), bytes + 1);
  EXPECT_EQ(std::string(bytes, 3), std::string("\x7F\0h", 3));
  EXPECT_EQ(sys_memcpy(nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(sys_memset(nullptr, 0, 0), nullptr);
  EXPECT_EQ(sys_memmove(nullptr, nullptr, 0), nullptr);
}

TEST(Time, MonotonicMillisecondsAreTruncated) {
  support::libc().monotonic = timespec{5, 999999999};
  EXPECT_EQ(sys_get_time(), 5999u);
  EXPECT_EQ(plat_get_time(), 5999u);
  support::libc().monotonic = timespec{5000000000, 1000000};
  EXPECT_EQ(sys_get_time(), 5000000000001u);
  support::libc() = {};
  EXPECT_EQ(get_temp_time(42), 42u);
  EXPECT_EQ(get_time_result(~uint64_t{0}), ~uint64_t{0});
}

TEST(Time, DelaysAreHandedOnInMicroseconds) {
  std::vector<std::string> asked;
  support::libc().note = [&](const std::string &what) { asked.push_back(what); };
  EXPECT_EQ(sys_delay(15), 0);
  EXPECT_EQ(plat_sleep_time(4294967), 0);
  support::libc() = {};
  EXPECT_THAT(asked, ElementsAre("usleep 15000", "usleep 4294967000"));
}

}  // namespace
