#include <utility>

#include "simple/simple_forms.h"

namespace simple {

void flip_vertical(uint8_t *frame, int32_t width, int32_t height) {
  if (is_empty(width, height)) return;
  for (int32_t top = 0, bottom = height - 1; top < bottom; ++top, --bottom) {
    for (int32_t x = 0; x < width; ++x)
      std::swap(frame[top * width + x], frame[bottom * width + x]);
  }
}

void flip_horizontal(uint8_t *frame, int32_t width, int32_t height) {
  if (is_empty(width, height)) return;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t left = 0, right = width - 1; left < right; ++left, --right) {
      std::swap(frame[y * width + left], frame[y * width + right]);
    }
  }
}

void images_flips(uint8_t *frames, int32_t width, int32_t height, uint32_t count, uint8_t mode) {
  if ((mode & 3) == 0 || is_empty(width, height)) return;
  for (uint32_t k = 0; k < count; ++k) {
    uint8_t *frame = frames + k * static_cast<uint32_t>(width) * static_cast<uint32_t>(height);
    if ((mode & 1) != 0) simple::flip_vertical(frame, width, height);
    if ((mode & 2) != 0) simple::flip_horizontal(frame, width, height);
  }
}

void image_reverse(uint8_t *frame, int32_t width, int32_t height) {
  if (is_empty(width, height)) return;
  for (int32_t i = 0; i < width * height; ++i) frame[i] = static_cast<uint8_t>(255 - frame[i]);
}

void remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, uint16_t *dst) {
  if (is_empty(width, height)) return;
  for (int32_t r = 1; r < height; ++r) {
    for (int32_t c = 0; c < width; ++c) {
      if (c != width / 2) *dst++ = src[r * width + c];
    }
  }
}

void transpose_remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, int32_t keep,
                              uint16_t *dst) {
  if (is_empty(width, height)) return;
  for (int32_t r = 0; r < height; ++r) {
    for (int32_t c = 0; c < width; ++c) {
      if (keep == 0 && (r == 0 || c == width / 2)) continue;
      *dst++ = src[c * height + r];
    }
  }
}

}  // namespace simple
