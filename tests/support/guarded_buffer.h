// A buffer between two unreadable pages, so that any access outside it faults.
#ifndef ORVA_TESTS_GUARDED_BUFFER_H
#define ORVA_TESTS_GUARDED_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace support {

// Which end of the buffer touches an unreadable page. The gap at the other end (less than a page)
// is a red zone that holds kRedZone.
enum class guard { kEnd, kStart };

// count elements of T, prefilled with fill bytes. With guard::kEnd the base takes whatever
// alignment the count gives (at least that of T); with guard::kStart it is page-aligned.
template <typename T>
class guarded_buffer {
 public:
  static constexpr unsigned char kRedZone = 0xC5;

  explicit guarded_buffer(size_t count, guard side = guard::kEnd, unsigned char fill = 0xA5)
      : count_(count) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t bytes = count * sizeof(T);
    inner_size_ = (bytes + page - 1) / page * page;
    if (inner_size_ == 0) inner_size_ = page;
    map_size_ = inner_size_ + 2 * page;
    map_ = static_cast<unsigned char *>(
        mmap(nullptr, map_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (map_ == MAP_FAILED) abort();
    inner_ = map_ + page;
    if (mprotect(inner_, inner_size_, PROT_READ | PROT_WRITE) != 0) abort();
    memset(inner_, kRedZone, inner_size_);
    base_ = side == guard::kEnd ? inner_ + inner_size_ - bytes : inner_;
    memset(base_, fill, bytes);
  }
  guarded_buffer(std::span<const T> contents, guard side = guard::kEnd)
      : guarded_buffer(contents.size(), side) {
    if (!contents.empty()) memcpy(base_, contents.data(), contents.size_bytes());
  }
  guarded_buffer(const guarded_buffer &) = delete;
  guarded_buffer &operator=(const guarded_buffer &) = delete;
  ~guarded_buffer() { munmap(map_, map_size_); }

  T *data() { return static_cast<T *>(static_cast<void *>(base_)); }
  const T *data() const { return static_cast<const T *>(static_cast<const void *>(base_)); }
  size_t size() const { return count_; }
  std::span<T> span() { return {data(), count_}; }
  std::span<const T> span() const { return {data(), count_}; }

  // True while nothing has been written beside the buffer.
  bool red_zone_intact() const {
    const unsigned char *end = base_ + count_ * sizeof(T);
    for (const unsigned char *p = inner_; p != inner_ + inner_size_; ++p) {
      if ((p < base_ || p >= end) && *p != kRedZone) return false;
    }
    return true;
  }

 private:
  size_t count_;
  size_t inner_size_ = 0;
  size_t map_size_ = 0;
  unsigned char *map_ = nullptr;
  unsigned char *inner_ = nullptr;
  unsigned char *base_ = nullptr;
};

}  // namespace support

#endif
