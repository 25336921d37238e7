// The image functions once more in their simplest form: one loop per sentence of their
// description, no regard for speed. Tests and fuzzers compare the library with them, benchmarks
// measure beside them.
#pragma once

#include <orva_fp/image.h>

namespace simple {

// A side of 0 or less, or more than 2^31 - 1 pixels.
inline bool is_empty(int64_t width, int64_t height) {
  return width <= 0 || height <= 0 || height > INT32_MAX / width;
}

// evaluation.cpp
int32_t evaluate_image(image_eval_record *record);

// water.cpp
int32_t is_water(const uint8_t *image, int32_t width, int32_t height);

// statistics.cpp
int32_t count_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows, int32_t cols,
                            int32_t min_level);
int32_t count_average_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows,
                                    int32_t cols, int32_t min_level);
int32_t calculate_minimum(const uint8_t *image, int32_t width, int32_t height, int32_t box_width,
                          int32_t box_height);
uint32_t euclidean_distance_cs1(const uint8_t *image_a, const uint8_t *image_b, int32_t stride,
                                int32_t rows, int32_t cols);
double standard_deviation(const uint8_t *data, int32_t count);
double calculate_sd(const double *values, int32_t count);

// raw_frame.cpp
int32_t is_mq4xx_white_noise(const uint16_t *frame, uint32_t width, uint32_t height);
int32_t image_center_mean(const uint8_t *image, int32_t width, int32_t height, int32_t size);
int32_t offset_min(uint8_t *image, const uint8_t *mask, int32_t width, int32_t height);

// otsu.cpp
int32_t find_otsu_th(const uint8_t *image, int32_t width, int32_t height, uint32_t *low_count,
                     uint32_t *high_count, uint8_t *low_mean, uint8_t *high_mean,
                     const uint8_t *mask);
uint8_t ucFindOtsuThCS1(const uint8_t *image, int32_t width, int32_t height, uint32_t *low_count,
                        uint32_t *high_count, double *low_mean, double *high_mean,
                        const uint8_t *mask);

// blocks.cpp
void vCalculateBlockDRCS1(const uint8_t *image, uint32_t *block_count, uint8_t *block_values,
                          const uint8_t *mask, uint8_t slice_window_size);
void vCalculateBlockDROtsuCS1(const uint8_t *image, const void *unused, uint32_t *block_count,
                              uint8_t *block_values, const uint8_t *mask,
                              uint8_t slice_window_size);

// noise.cpp
int32_t fr_has_noise(const uint8_t *image, int32_t width, int32_t height, noise_check_param *param);
int32_t remove_noise_use_median_filter(uint8_t *image, int32_t width, int32_t height,
                                       int32_t delta);

// median.cpp
void sort(uint8_t *values, int32_t count);
void median_filter(uint8_t *image, uint8_t *work, int32_t width, int32_t height);

// equalisation.cpp
void histeq(uint8_t *image, int32_t width, int32_t height);
void histeq_white(uint8_t *image, int32_t width, int32_t height, int32_t white_percent);

// stack_median.cpp
int32_t get_median(uint8_t *dst, const uint8_t *src, int32_t length, int32_t n);

// layout.cpp
void flip_vertical(uint8_t *frame, int32_t width, int32_t height);
void flip_horizontal(uint8_t *frame, int32_t width, int32_t height);
void images_flips(uint8_t *frames, int32_t width, int32_t height, uint32_t count, uint8_t mode);
void image_reverse(uint8_t *frame, int32_t width, int32_t height);
void remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, uint16_t *dst);
void transpose_remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, int32_t keep,
                              uint16_t *dst);

// bmp.cpp
int32_t get_raw_data_from_bmp(const uint8_t *bmp, uint8_t *dst, int32_t *width, int32_t *height);

}  // namespace simple
