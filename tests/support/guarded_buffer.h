// A buffer between two unreadable pages, so that any access outside it faults.
#pragma once

#include <algorithm>
#include <cstddef>
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
    const size_t inner_size = std::max((bytes + page - 1) / page, size_t{1}) * page;
    void *map = mmap(nullptr, inner_size + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED) abort();
    map_ = {static_cast<unsigned char *>(map), inner_size + 2 * page};
    inner_ = map_.subspan(page, inner_size);
    if (mprotect(inner_.data(), inner_size, PROT_READ | PROT_WRITE) != 0) abort();
    memset(inner_.data(), kRedZone, inner_size);
    start_ = side == guard::kEnd ? inner_size - bytes : 0;
    memset(inner_.data() + start_, fill, bytes);
  }
  guarded_buffer(std::span<const T> contents, guard side = guard::kEnd)
      : guarded_buffer(contents.size(), side) {
    if (!contents.empty()) memcpy(data(), contents.data(), contents.size_bytes());
  }
  guarded_buffer(const guarded_buffer &) = delete;
  guarded_buffer &operator=(const guarded_buffer &) = delete;
  ~guarded_buffer() { munmap(map_.data(), map_.size()); }

  T *data() { return static_cast<T *>(static_cast<void *>(inner_.data() + start_)); }
  const T *data() const { return const_cast<guarded_buffer *>(this)->data(); }
  size_t size() const { return count_; }
  std::span<T> span() { return {data(), count_}; }
  std::span<const T> span() const { return {data(), count_}; }

  // True while nothing has been written beside the buffer.
  bool red_zone_intact() const {
    const auto intact = [](std::span<const unsigned char> zone) {
      return zone.empty() ||
             (zone[0] == kRedZone && memcmp(&zone[0], &zone[0] + 1, zone.size() - 1) == 0);
    };
    return intact(inner_.first(start_)) && intact(inner_.subspan(start_ + count_ * sizeof(T)));
  }

 private:
  size_t count_;
  size_t start_;
  std::span<unsigned char> map_;
  std::span<unsigned char> inner_;
};

}  // namespace support
