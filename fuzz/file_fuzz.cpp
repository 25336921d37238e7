// The file calls on odd files, contents and streams, and the calls that put texts together, each
// compared with what it promises.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <string>
#include <unistd.h>

#include <orva_fp/file.h>
#include <orva_fp/log.h>
#include <orva_fp/memory_time.h>
#include <orva_fp/sensor_test.h>

#include "fuzz/expect.h"
#include "support/guarded_buffer.h"
#include "support/input.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace {

using fuzz::expect;
using support::guard;
using support::guarded_buffer;

std::string take_text(support::input &in, size_t longest) {
  const auto raw = in.bytes(in.below(static_cast<uint32_t>(longest)));
  return {raw.begin(), raw.end()};
}

// A short piece of the input, repeated to a length.
std::string make_contents(support::input &in) {
  const std::string piece = take_text(in, 40);
  const size_t length = in.below(4) == 0 ? in.below(9000) : piece.size();
  std::string contents;
  while (!piece.empty() && contents.size() < length) contents += piece;
  return contents;
}

// ---- Files of a folder

class folder_of_files {
 public:
  void play(support::input &in) {
    for (const char *name : kNames) unlink((folder_ / name).c_str());
    files_.clear();
    for (uint32_t calls = 1 + in.below(12); calls > 0; --calls) {
      in.below(2) != 0 ? read(in) : write(in);
    }
  }

 private:
  static constexpr const char *kNames[] = {"a", "b", "c"};

  void read(support::input &in) {
    const std::string name = kNames[in.below(3)];
    const bool by_stream = in.below(3) == 0;
    const bool wants_size = in.below(4) != 0;
    const auto call = in.below(2) != 0 ? file_read : text_read;
    const std::string path = folder_ / name;
    uint8_t *buffer = nullptr;
    int64_t size = -77;
    uint64_t count = 77;
    int64_t *const size_place = wants_size ? &size : nullptr;
    const int32_t result = by_stream
                               ? ffread(fopen(path.c_str(), "rb"), &buffer, size_place, &count)
                               : call(path.c_str(), &buffer, size_place);
    const auto file = files_.find(name);
    if (file == files_.end()) {
      expect(result == -1 && buffer == nullptr && size == -77, "read", "of a missing file");
      return;
    }
    const std::string &contents = file->second;
    expect(result == 0 && buffer != nullptr, "read", "result");
    expect(memcmp(buffer, contents.data(), contents.size()) == 0, "read", "bytes");
    const auto length = static_cast<int64_t>(contents.size());
    expect(size == (wants_size ? length : -77), "read", "size");
    if (by_stream) expect(count == contents.size(), "read", "count");
    sys_free(buffer);
  }

  void write(support::input &in) {
    struct {
      int32_t (*call)(const char *path, const void *data, uint64_t size);
      bool appends;
    } static constexpr kCalls[] = {{file_write, false}, {text_write, false}, {text_append, true}};
    const auto &[call, appends] = kCalls[in.below(3)];
    const std::string name = kNames[in.below(3)];
    const std::string contents = make_contents(in);
    const bool null_data = in.below(8) == 1;
    const guarded_buffer<char> data{std::span<const char>(contents)};
    if (in.below(8) == 1) {
      expect(call((folder_ / "missing/a").c_str(), data.data(), contents.size()) == -1, "write",
             "into a missing folder");
      expect(call(nullptr, data.data(), contents.size()) == -1, "write", "to no path");
      expect(call("/dev/full", data.data(), contents.size()) == 0, "write", "to a full disk");
    }
    const std::string path = folder_ / name;
    expect(call(path.c_str(), null_data ? nullptr : data.data(), contents.size()) == 0, "write",
           "result");
    std::string &file = files_[name];
    if (!appends) file.clear();
    if (!null_data) file += contents;
  }

  support::temp_folder folder_;
  std::map<std::string, std::string> files_;
};

// ---- Streams that are not what they seem

struct odd_stream {
  std::string contents;
  int64_t told_size;   // position at the end
  size_t fails_after;  // bytes after which reading fails
  bool can_seek;
  int64_t position = 0;
  std::string written;
  int closed = 0;

  FILE *open(const char *mode) {
    cookie_io_functions_t calls{};
    calls.read = [](void *self, char *to, size_t size) -> ssize_t {
      auto *s = static_cast<odd_stream *>(self);
      const auto at = static_cast<size_t>(s->position);
      if (at >= s->fails_after) {
        errno = EIO;
        return -1;
      }
      const size_t end = std::min(s->contents.size(), s->fails_after);
      const size_t count = at >= end ? 0 : std::min(size, end - at);
      memcpy(to, s->contents.data() + std::min(at, s->contents.size()), count);
      s->position += static_cast<int64_t>(count);
      return static_cast<ssize_t>(count);
    };
    calls.write = [](void *self, const char *from, size_t size) -> ssize_t {
      auto *s = static_cast<odd_stream *>(self);
      if (s->written.size() >= s->fails_after) return 0;
      s->written.append(from, size);
      return static_cast<ssize_t>(size);
    };
    calls.seek = [](void *self, off64_t *offset, int whence) {
      auto *s = static_cast<odd_stream *>(self);
      if (!s->can_seek) {
        errno = ESPIPE;
        return -1;
      }
      const int64_t base = whence == SEEK_END ? s->told_size : whence == SEEK_CUR ? s->position : 0;
      *offset = s->position = base + *offset;
      return 0;
    };
    calls.close = [](void *self) { return ++static_cast<odd_stream *>(self)->closed, 0; };
    return fopencookie(this, mode, calls);
  }
};

void read_odd_stream(support::input &in) {
  // More than any allocator has.
  constexpr int64_t kNoMemory = int64_t{1} << 50;
  odd_stream stream;
  stream.contents = make_contents(in);
  const auto length = static_cast<int64_t>(stream.contents.size());
  const uint32_t what = in.below(6);
  stream.told_size = what == 0 ? kNoMemory : what < 4 ? int64_t{in.below(10000)} : length;
  stream.fails_after = in.below(3) == 0 ? in.below(5000) : 100000;
  stream.can_seek = in.below(8) != 1;
  const bool has_buffer = in.below(8) != 1;

  uint8_t unchanged = 0;
  uint8_t *buffer = &unchanged;
  int64_t size = -77;
  uint64_t count = 77;
  const int32_t result = ffread(stream.open("rb"), has_buffer ? &buffer : nullptr, &size, &count);
  expect(stream.closed == 1, "ffread", "the stream is not closed once");
  expect(size == (stream.can_seek ? stream.told_size : -1), "ffread", "size");
  const bool allocated = has_buffer && stream.can_seek && stream.told_size != kNoMemory;
  expect(result == (allocated ? 0 : -2), "ffread", "result");
  if (!allocated) {
    expect(buffer == (has_buffer ? nullptr : &unchanged), "ffread", "a buffer without contents");
    expect(count == 77, "ffread", "count of what was not read");
    return;
  }
  const size_t available = std::min(stream.contents.size(), stream.fails_after);
  expect(count == std::min<size_t>(static_cast<size_t>(size), available), "ffread", "count");
  expect(memcmp(buffer, stream.contents.data(), count) == 0, "ffread", "bytes");
  sys_free(buffer);
}

void write_odd_stream(support::input &in) {
  odd_stream stream;
  const std::string contents = make_contents(in);
  stream.fails_after = in.below(3) == 0 ? 0 : 100000;
  expect(ffwrite(stream.open("wb"), contents.data(), contents.size()) == 0, "ffwrite", "result");
  expect(stream.closed == 1, "ffwrite", "the stream is not closed once");
  expect(stream.written == (stream.fails_after == 0 ? "" : contents), "ffwrite", "bytes");
}

// ---- Texts

std::string without_nul(std::string text) {
  for (char &c : text) {
    if (c == '\0') c = '%';
  }
  return text;
}

guarded_buffer<char> guarded_text(const std::string &text, guard side) {
  return guarded_buffer<char>(std::span<const char>(text.c_str(), text.size() + 1), side);
}

void compose_path(support::input &in) {
  const guard side = in.below(2) != 0 ? guard::kStart : guard::kEnd;
  const std::string first = without_nul(take_text(in, 300));
  const std::string second = without_nul(take_text(in, 40));
  // Around the length that just fits.
  const size_t room = std::max<size_t>(first.size() + second.size() + in.below(12), 5) - 5;
  const guarded_buffer<char> src1 = guarded_text(first, side);
  const guarded_buffer<char> src2 = guarded_text(second, side);
  std::string before = without_nul(make_contents(in));  // often without a NUL
  before.resize(room, in.below(2) != 0 ? '\0' : 'x');
  guarded_buffer<char> dest{std::span<const char>(before), side};
  const std::string composed = first + "/" + second;
  const bool in_place = in.below(4) == 1 && room > first.size();
  if (in_place) memcpy(dest.data(), first.c_str(), first.size() + 1);
  const std::string unchanged(dest.data(), room);

  const int32_t result = confirm_save_path(dest.data(), static_cast<int32_t>(room),
                                           in_place ? dest.data() : src1.data(), src2.data());
  const bool fits = composed.size() < room;
  expect(result == (fits ? 1 : 0), "confirm_save_path", "result");
  expect(dest.red_zone_intact(), "confirm_save_path", "red zone");
  if (fits) {
    expect(composed == dest.data(), "confirm_save_path", "text");
  } else {
    expect(memcmp(dest.data(), unchanged.data(), room) == 0, "confirm_save_path", "changed");
  }
}

void log_text(support::input &in) {
  const std::string message = without_nul(make_contents(in));
  const guarded_buffer<char> text = guarded_text(message, guard::kEnd);
  const uint32_t level = in.below(9);
  const std::string kept = message.substr(0, 1023);
  support::clear_log();
  output_log(level, "tag", nullptr, nullptr, 1, "%s", text.data());
  const std::vector<support::log_line> written = support::log_lines();
  if (level != 4 && level != 6) {
    expect(written.empty(), "output_log", "a line of another level");
  } else {
    const support::log_line expected = {static_cast<int>(level), "tag", kept + " \n"};
    expect(written.size() == 1 && written[0] == expected, "output_log", "line");
  }
  support::clear_log();
  output_nw_orva_log(nullptr, nullptr, 1, "%s", text.data());
  const support::log_line expected = {6, "(FPLOG)", kept};
  expect(support::log_lines() == std::vector{expected}, "output_nw_orva_log", "line");
  support::clear_log();
}

}  // namespace

// An allocation that is too large fails.
extern "C" const char *__asan_default_options() { return "allocator_may_return_null=1"; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static folder_of_files folder;
  support::input in(data, size);
  switch (in.below(5)) {
    case 0:
      folder.play(in);
      break;
    case 1:
      read_odd_stream(in);
      break;
    case 2:
      write_odd_stream(in);
      break;
    case 3:
      compose_path(in);
      break;
    default:
      log_text(in);
      break;
  }
  support::clear_log();
  return 0;
}
