// Result files: their paths, the removal of earlier ones and the save at a run's end.
#include "sensor_test_kd740/result_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <time.h>

#include <orva_fp/file.h>

namespace orva {

namespace {

// Date of the latest save. A process runs one sensor test at a time, so one of each will do.
time_t save_time;
const tm *save_utc;

// The contents of a result log, cut to what fits.
struct log_text {
  char bytes[1024];
  size_t length;  // without the NUL
};

constexpr size_t kLongestText = sizeof(log_text::bytes) - 1;

// Length of the longest prefix of text, of at most limit bytes, that does not end within a UTF-8
// character. Bytes that are not UTF-8 are cut anywhere.
size_t cut_length(const char *text, size_t length, size_t limit) {
  if (length <= limit) return length;
  constexpr size_t kLongestCharacter = 4;
  for (size_t back = 0; back < kLongestCharacter && back <= limit; ++back) {
    const auto byte = static_cast<unsigned char>(text[limit - back]);
    const bool continues = (byte & 0xC0) == 0x80;
    if (!continues) return byte >= 0xC0 ? limit - back : limit;
  }
  return limit;
}

void start_with_date(log_text &text) {
  save_time = time(nullptr);
  tm *utc = gmtime(&save_time);
  save_utc = utc;
  const char *date = utc != nullptr ? asctime(utc) : nullptr;
  snprintf(text.bytes, sizeof text.bytes, "Date: %s", date != nullptr ? date : "");
  text.length = strlen(text.bytes);
}

void append_result_text(log_text &text, const char (&result_text)[SENSOR_TEST_TEXT_SIZE],
                        int32_t line) {
  const size_t length = strnlen(result_text, sizeof result_text);
  const size_t kept = cut_length(result_text, length, kLongestText - text.length);
  memcpy(text.bytes + text.length, result_text, kept);
  text.length += kept;
  if (kept < length) {
    log_test_line(kLogError, {line, "sensor_test result text too long, %zu of %zu bytes cut"},
                  length - kept, length);
  }
}

// Writes the whole file, or logs the system error number.
void write_result(const result_path &path, const void *data, size_t size, const test_line &failed) {
  const bool written = path.fits() && file_write(path.text, data, size) == 0;
  if (!written) log_test_line(kLogError, failed, path.fits() ? errno : ENAMETOOLONG);
}

void save_data(const save_profile &profile, const sensor_test_reply &reply,
               const result_path &path) {
  if (reply.data_len <= 0) return;
  const int32_t size = std::min<int32_t>(reply.data_len, SENSOR_TEST_DATA_SIZE);
  if (size < reply.data_len) {
    log_test_line(kLogError,
                  {profile.data_failed.line, "sensor_test data_len = %d, only %d bytes saved"},
                  reply.data_len, size);
  }
  write_result(path, reply.data, static_cast<size_t>(size), profile.data_failed);
  if (profile.data_saved.text != nullptr) {
    log_test_line(kLogInfo, profile.data_saved, path.text);
  }
}

}  // namespace

void compose_path(result_path &path, const char *folder, const char *file) {
  const int length = snprintf(path.text, sizeof path.text, "%s/%s", folder, file);
  if (length < 0 || static_cast<size_t>(length) >= sizeof path.text) path.text[0] = '\0';
}

void remove_old(const result_path &path, const char *folder, const char *file, int32_t line) {
  if (!path.fits()) {
    log_test_line(kLogError, {line, "sensor_test path too long, not removed: %s/%s"}, folder, file);
    return;
  }
  remove(path.text);
  log_test_line(kLogInfo, {line, "remove %s"}, path.text);
}

void save_results(const save_profile &profile, const sensor_test_reply &reply, const char *folder,
                  const result_path &data_path) {
  save_data(profile, reply, data_path);

  log_text text;
  start_with_date(text);
  append_result_text(text, reply.result_text, profile.log_saved.line);

  result_path path;
  compose_path(path, folder, profile.log);
  log_test_line(kLogInfo, profile.log_saved, folder, profile.log);
  write_result(path, text.bytes, text.length, profile.log_failed);
}

}  // namespace orva

namespace {

// Whether two runs of bytes have any in common.
bool overlap(const char *a, size_t a_size, const char *b, size_t b_size) {
  const auto a_start = reinterpret_cast<uintptr_t>(a);
  const auto b_start = reinterpret_cast<uintptr_t>(b);
  return a_start < b_start + b_size && b_start < a_start + a_size;
}

}  // namespace

int32_t confirm_save_path(char *dest, int32_t dest_len, const char *src1, const char *src2) {
  using namespace orva;
  constexpr char kFunction[] = "confirm_save_path";
  if (dest == nullptr) {
    output_log(kLogInfo, kLogTag, kSensorTestFile, kFunction, 90, "addr of destination is NULL !!");
    return 0;
  }
  const auto text_or_null = [](const char *text) { return text != nullptr ? text : "(null)"; };
  output_log(kLogInfo, kLogTag, kSensorTestFile, kFunction, 95,
             "Save dest=%s, dest len=%d, src1=%s, src2=%s", dest, dest_len, text_or_null(src1),
             text_or_null(src2));
  if (src1 == nullptr || src2 == nullptr) return 0;

  const size_t length1 = strlen(src1);
  const size_t length2 = strlen(src2);
  const size_t size = length1 + 1 + length2 + 1;
  if (dest_len < 0 || size > static_cast<size_t>(dest_len)) return 0;
  if (overlap(dest, size, src1, length1 + 1) || overlap(dest, size, src2, length2 + 1)) return 0;

  return snprintf(dest, size, "%s/%s", src1, src2) > 0 ? 1 : 0;
}
