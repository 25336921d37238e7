// Whole-file reads and writes over libc's streams.
#include "orva_fp/file.h"

#include <cerrno>
#include <cstdlib>

namespace {

constexpr int32_t kOk = 0;
constexpr int32_t kNoStream = -1;
constexpr int32_t kNoBuffer = -2;
constexpr int32_t kShortRead = -3;

FILE *open_file(const char *path, const char *mode) {
  if (path == nullptr) {
    errno = EFAULT;
    return nullptr;
  }
  return fopen(path, mode);
}

template <typename T>
void store(T *place, T value) {
  if (place != nullptr) *place = value;
}

}  // namespace

int32_t ffread(FILE *stream, uint8_t **buffer_out, int64_t *size_out, uint64_t *read_out) {
  if (stream == nullptr) return kNoStream;

  fseek(stream, 0, SEEK_END);
  const int64_t size = ftell(stream);
  rewind(stream);
  store(size_out, size);

  uint8_t *buffer = nullptr;
  if (size >= 0 && buffer_out != nullptr) {
    buffer = static_cast<uint8_t *>(malloc(static_cast<size_t>(size)));
  }
  store(buffer_out, buffer);
  if (buffer != nullptr) {
    store(read_out, static_cast<uint64_t>(fread(buffer, 1, static_cast<size_t>(size), stream)));
  }
  fclose(stream);
  return buffer != nullptr ? kOk : kNoBuffer;
}

int32_t file_read(const char *path, uint8_t **buffer_out, int64_t *size_out) {
  FILE *stream = open_file(path, "rb");
  if (stream == nullptr) return kNoStream;

  int64_t size = 0;
  uint64_t count = 0;
  const int32_t result = ffread(stream, buffer_out, &size, &count);
  store(size_out, size);
  if (result == kOk && count != static_cast<uint64_t>(size)) return kShortRead;
  return result;
}

int32_t text_read(const char *path, uint8_t **buffer_out, int64_t *size_out) {
  return ffread(open_file(path, "r"), buffer_out, size_out, nullptr);
}

int32_t ffwrite(FILE *stream, const void *data, uint64_t size) {
  if (stream == nullptr) return kNoStream;

  if (data != nullptr) fwrite(data, 1, static_cast<size_t>(size), stream);
  fclose(stream);
  return kOk;
}

int32_t text_write(const char *path, const void *data, uint64_t size) {
  return ffwrite(open_file(path, "w"), data, size);
}

int32_t text_append(const char *path, const void *data, uint64_t size) {
  return ffwrite(open_file(path, "a+"), data, size);
}

int32_t file_write(const char *path, const void *data, uint64_t size) {
  return ffwrite(open_file(path, "wb"), data, size);
}
