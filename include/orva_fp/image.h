/** @file
 * Image functions over 8-bit grey images and 16-bit raw frames.
 *
 * Common to all of them, unless a function says otherwise:
 *
 * - An 8-bit image holds one unsigned byte per pixel, row-major, rows packed without gaps: pixel
 *   (x, y) is at index y * width + x. A 16-bit raw frame is laid out the same way in unsigned
 *   16-bit samples; 65535 is the saturated value. Width and height are in pixels.
 * - Buffers belong to the caller and are used only during the call. Bytes need no alignment;
 *   16-bit samples and doubles need that of their type. No pointer may be null except where a
 *   function says so.
 * - A width or height of 0 or less is an image without pixels: nothing is read or written through
 *   the image, and the function returns the value that it documents for that case.
 * - Divisions truncate toward zero and means are truncated, never rounded.
 * - No function allocates heap memory, keeps state or takes a lock. Any number of threads may call
 *   any of them at once as long as no two calls share a buffer that one of them writes and
 *   g_img_alg_sd does not change during a call that reads it.
 * - Results are the same bits on every processor, compiler and optimisation level.
 * - width * height must stay below 2^31; further limits stand with the functions. They are the
 *   caller's to respect: a function has no way to know the size of a buffer.
 */
#ifndef ORVA_FP_IMAGE_H
#define ORVA_FP_IMAGE_H

#include <stdint.h>

#include "orva_fp/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Size of the image that evaluate_image, vCalculateBlockDRCS1 and vCalculateBlockDROtsuCS1 work
 * on. The caller sets it before such a call; the library only reads it. 0, 0 at load. */
typedef struct image_dims {
  int32_t width;  /**< in pixels */
  int32_t height; /**< in pixels */
} image_dims;

/** The size in force; see image_dims. */
extern ORVA_FP_API image_dims g_img_alg_sd;

/** @name Defect evaluation
 * @{ */

enum {
  EVAL_MARK_MAP_SIZE = 4408, /**< capacity of image_eval_record::mark_map, in pixels */
  EVAL_DEFECT_RUN = 20       /**< shortest straight run of marked pixels that is a defect */
};

/** Bits of image_eval_record::check_flags. */
enum {
  EVAL_CHECK_HIGH = 0x01,      /**< mark pixels above high_threshold */
  EVAL_CHECK_LOW = 0x02,       /**< mark pixels below low_threshold */
  EVAL_CHECK_DEVIATION = 0x04, /**< mark pixels too far from the mean */
  EVAL_SPREAD_LOW = 0x10       /**< a low pixel marks its right neighbour low as well */
};

/** Bits of one byte of image_eval_record::mark_map; a pixel may carry several. */
enum { MARK_HIGH = 0x01, MARK_LOW = 0x02, MARK_DEVIATION = 0x04 };

/** Inputs and outputs of evaluate_image; 4488 bytes on 64-bit. */
typedef struct image_eval_record {
  uint32_t check_flags;        /**< in: EVAL_CHECK_* and EVAL_SPREAD_LOW */
  int32_t high_threshold;      /**< in: a pixel greater than this is high */
  int32_t low_threshold;       /**< in: a pixel less than this is low */
  int32_t deviation_threshold; /**< in: a distance from the mean greater than this deviates */
  int32_t line_check;          /**< in: nonzero switches the run and cluster analysis on */
  uint32_t reserved_a;         /**< neither read nor written */
  uint8_t mark_map[EVAL_MARK_MAP_SIZE]; /**< out: MARK_* per pixel, indexed like the image */
  const uint8_t *image;                 /**< in: the image, only read */
  uint8_t mean;                         /**< out: truncated mean of all pixels */
  int32_t defect_found;    /**< out: 1 when a run of 20 or a marked 2 x 2 block exists */
  int32_t max_run;         /**< out: longest straight run of marked pixels */
  double std_dev;          /**< out: standard deviation about mean */
  uint64_t reserved_b;     /**< neither read nor written */
  int32_t high_count;      /**< out: pixels counted high */
  int32_t deviation_count; /**< out: pixels counted deviating */
  int32_t low_count;       /**< out: pixels counted low */
} image_eval_record;

/** Marks and counts the defective pixels of record->image, an image of the size in g_img_alg_sd of
 * at most EVAL_MARK_MAP_SIZE pixels, and measures how they lie together.
 *
 * Always returns 0; the results are in the record's out fields, all of which are rewritten. Only
 * the first width * height bytes of mark_map are; the others keep what they held.
 *
 * - high: pixel > high_threshold; low: pixel < low_threshold; deviating: |pixel - mean| >
 *   deviation_threshold. Each kind is looked for only when its EVAL_CHECK_* bit is set.
 * - With EVAL_CHECK_LOW and EVAL_SPREAD_LOW a low pixel marks the right neighbour in its row
 *   MARK_LOW too; a neighbour in low_threshold to high_threshold is also counted low, one above
 *   high_threshold is marked only.
 * - std_dev = sqrt(sum((pixel - mean)^2) / (width * height)) with the truncated mean and the
 *   quotient in double precision.
 * - When check_flags and line_check are both nonzero: max_run is the longest run of marked pixels
 *   in a row, a column or either diagonal, raised to at least EVAL_DEFECT_RUN when some 2 x 2
 *   block is marked throughout; defect_found is 1 when max_run is EVAL_DEFECT_RUN or more.
 *   Otherwise both are 0.
 *
 * An image without pixels (width or height 0) gives zeros and a std_dev that is not a number.
 * Choice of ours: with a null record, a null image, a negative width or height, or more than
 * EVAL_MARK_MAP_SIZE pixels, one error line with the reason is logged, the out fields except
 * mark_map are cleared where there is a record, and nothing else is read or written.
 *
 * One record must not serve two calls at once. */
ORVA_FP_API int32_t evaluate_image(image_eval_record *record);

/** @} */

/** @name Water
 * @{ */

/** Returns 1 when a wide dark band crosses many adjacent rows or many adjacent columns (water),
 * else 0; 0 for an image without pixels.
 *
 * A line (row or column) qualifies when it holds a dark stretch: a pixel below t, then at least 31
 * pixels of at most t, then a pixel above t, where t = (mean of the line) - 5. A line with a mean
 * below 5 never qualifies. Rows are searched from column 1 on, columns from row 0; column 0 counts
 * in its row's mean all the same. A stretch that reaches the end of its line does not count.
 * Water is a streak of at least 21 qualifying rows (or columns) that is followed by one that does
 * not qualify; a streak that reaches the last row (or column) does not count. */
ORVA_FP_API int32_t is_water(const uint8_t *image, int32_t width, int32_t height);

/** @} */

/** @name Intensity and deviation statistics
 *
 * In the functions with a stride, row r of the area begins r * stride bytes after the first pixel;
 * the stride may be any signed number, so that an area can be cut out of a wider image or read
 * from the bottom up. Sums are unsigned 32-bit and wrap modulo 2^32.
 * @{ */

/** Sum of the rows x cols pixels of an area, or -1 when min_level is nonzero and some pixel is
 * below it. 0 when rows or cols is 0 or less. A negative min_level rejects nothing. */
ORVA_FP_API int32_t count_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows,
                                        int32_t cols, int32_t min_level);

/** count_intensity_cs1 with the same arguments, divided by rows * cols; 0 when that product is 0.
 * A rejected area (-1) therefore gives -1 for a single pixel and 0 for any larger area. */
ORVA_FP_API int32_t count_average_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows,
                                                int32_t cols, int32_t min_level);

/** Smallest pixel of the box of box_width x box_height pixels in the middle of a width x height
 * image; its first column is (width - box_width) / 2, its first row (height - box_height) / 2.
 * 255 when the box is empty. The box must lie inside the image. */
ORVA_FP_API int32_t calculate_minimum(const uint8_t *image, int32_t width, int32_t height,
                                      int32_t box_width, int32_t box_height);

/** Sum of the squared differences of two rows x cols areas with the same stride (no square root is
 * taken); 0 when rows or cols is 0 or less. */
ORVA_FP_API uint32_t euclidean_distance_cs1(const uint8_t *image_a, const uint8_t *image_b,
                                            int32_t stride, int32_t rows, int32_t cols);

/** Standard deviation of count bytes in integer arithmetic: mean and variance are both truncated
 * before the square root. 0.0 when count is 0 or less. */
ORVA_FP_API double standard_deviation(const uint8_t *data, int32_t count);

/** Population standard deviation of count doubles; sums run in index order in double precision.
 * Not a number for a count of 0; 0.0 or -0.0 for a negative one. */
ORVA_FP_API double calculate_sd(const double *values, int32_t count);

/** @} */

/** @name Raw-frame checks, centre mean, offset
 * @{ */

/** Returns 1 when at least 100 samples of a 16-bit raw frame are saturated (65535), else 0. The
 * first and the last column are left out. */
ORVA_FP_API int32_t is_mq4xx_white_noise(const uint16_t *frame, uint32_t width, uint32_t height);

/** Truncated mean of the square of size x size pixels in the middle of the image. Returns -1 when
 * the image is null or size is greater than width or height; 0 when size is 0 or less.
 * The square begins at column (width - size) / 2 and, a choice of ours, at row
 * (height - size) / 2, so that it always lies inside the image. */
ORVA_FP_API int32_t image_center_mean(const uint8_t *image, int32_t width, int32_t height,
                                      int32_t size);

/** Subtracts the smallest pixel among those whose mask byte is not 1 from every pixel of the image,
 * masked or not, in place and modulo 256, and returns it (0 to 255). When every pixel is masked
 * the minimum is 255. Returns 255 and changes nothing for an image without pixels. The mask holds
 * one byte per pixel; it must not overlap the image. */
ORVA_FP_API int32_t offset_min(uint8_t *image, const uint8_t *mask, int32_t width, int32_t height);

/** @} */

/** @name Otsu thresholds and block summaries
 *
 * In these four functions the mask may be null. A pixel takes part when there is no mask or its
 * mask byte is 0. Class and block sums are exact below 2^31, that is up to 8421504 pixels.
 * @{ */

/** Otsu's threshold of the pixels that take part: the level t (0 to 255) that splits them best into
 * a low class (<= t) and a high class (> t), and the number of pixels and the truncated mean of
 * each class. t is always a level that occurs: the highest of the low class. Among equal scores
 * the lowest t wins; scores are computed in single precision.
 * When fewer than two distinct values take part, the threshold and all four outputs are 0. */
ORVA_FP_API int32_t find_otsu_th(const uint8_t *image, int32_t width, int32_t height,
                                 uint32_t *low_count, uint32_t *high_count, uint8_t *low_mean,
                                 uint8_t *high_mean, const uint8_t *mask);

/** The same threshold and counts; the means are not truncated: the single-precision means widened
 * to double. */
ORVA_FP_API uint8_t ucFindOtsuThCS1(const uint8_t *image, int32_t width, int32_t height,
                                    uint32_t *low_count, uint32_t *high_count, double *low_mean,
                                    double *high_mean, const uint8_t *mask);

/** Truncated mean of the pixels that take part, per block of the image whose size is in
 * g_img_alg_sd; 0 for a block in which none does.
 *
 * *block_count 4 on entry selects the four quadrants (top left, top right, bottom left, bottom
 * right; odd sizes give the extra column to the right and the extra row to the bottom), and
 * slice_window_size is not looked at. Any other value selects square blocks of side
 * s = slice_window_size: (width / s) x (height / s) of them in raster order, the grid centred at
 * column (width % s) / 2 and row (height % s) / 2.
 * On return *block_count is the number of values: so a variable that was left at 4 by a call
 * selects the quadrants in the next. block_values has room for that many bytes.
 *
 * Choices of ours: a slice_window_size of 0 gives a count of 0 and writes no value; an image
 * without pixels gives four zeros in quadrant mode and a count of 0 otherwise. */
ORVA_FP_API void vCalculateBlockDRCS1(const uint8_t *image, uint32_t *block_count,
                                      uint8_t *block_values, const uint8_t *mask,
                                      uint8_t slice_window_size);

/** Dynamic range per block of the same grid (there is no quadrant mode): mean of the high class
 * minus mean of the low class of the block's own Otsu split, truncated; 0 for a block whose
 * participating pixels have fewer than two values. unused is not read and may be null.
 * *block_count is only written.
 *
 * Choices of ours: a slice_window_size of 0 gives a count of 0 and writes no value; 17 to 255 work
 * like the smaller ones. */
ORVA_FP_API void vCalculateBlockDROtsuCS1(const uint8_t *image, const void *unused,
                                          uint32_t *block_count, uint8_t *block_values,
                                          const uint8_t *mask, uint8_t slice_window_size);

/** @} */

/** @name Noise and median
 *
 * An interior pixel (not in the first or last row or column) of value c is a spike with margin m
 * when its four direct neighbours are all greater than c + m, or all less than c - m.
 * @{ */

/** Bits of noise_check_param::noise_flags and of the result of fr_has_noise. */
enum { NOISE_CHECK_STRONG = 1, NOISE_CHECK_DELTA = 2 };

enum {
  NOISE_STRONG_MARGIN = 42, /**< margin of a strong spike */
  NOISE_DELTA_LIMIT = 100   /**< more delta spikes than this are too many */
};

/** Inputs and outputs of fr_has_noise. */
typedef struct noise_check_param {
  uint32_t noise_flags;        /**< in: NOISE_CHECK_*; other bits are ignored */
  uint32_t strong_spike_count; /**< out: spikes with margin 42; 0 unless NOISE_CHECK_STRONG */
  uint32_t delta_spike_count;  /**< out: spikes with margin spike_delta; 0 unless _DELTA */
  uint32_t spike_delta;        /**< in: margin, taken as a signed 32-bit number */
} noise_check_param;

/** Sorts count bytes ascending in place. Nothing happens for a null array or a count below 2. */
ORVA_FP_API void sort(uint8_t *values, int32_t count);

/** Counts the spikes of an image into param and returns NOISE_CHECK_STRONG when there are more
 * strong ones than 3 * (width / 48), plus NOISE_CHECK_DELTA when there are more than
 * NOISE_DELTA_LIMIT delta ones. The image is only read. param may be null only for an image of
 * fewer than three rows or columns, which has no spikes; choice of ours: with a null param a
 * larger image is not examined either and gives 0. */
ORVA_FP_API int32_t fr_has_noise(const uint8_t *image, int32_t width, int32_t height,
                                 noise_check_param *param);

/** Replaces every spike with margin delta by the median of its 3 x 3 neighbourhood, in place, in
 * raster order, and returns how many were replaced. A replacement is seen by the tests and medians
 * of the pixels after it. Border pixels never change. */
ORVA_FP_API int32_t remove_noise_use_median_filter(uint8_t *image, int32_t width, int32_t height,
                                                   int32_t delta);

/** Replaces every pixel by the median of its 3 x 3 neighbourhood in the unfiltered image; pixels
 * outside the image repeat the nearest border pixel. work is at least width * height bytes and
 * must not overlap the image; it holds the unfiltered image afterwards.
 * Choice of ours: an image narrower or lower than two pixels, and the work buffer, stay as they
 * are. */
ORVA_FP_API void median_filter(uint8_t *image, uint8_t *work, int32_t width, int32_t height);

/** @} */

/** @name Histogram equalisation
 * @{ */

/** Equalises the histogram in place: with N pixels, v becomes (255 * cdf[v] + N / 2) / N, where
 * cdf[v] is the number of pixels of at most v. N is at most 8405024 (255 * N + N / 2 fits 31
 * bits). */
ORVA_FP_API void histeq(uint8_t *image, int32_t width, int32_t height);

/** Leaves the brightest white_percent of the pixels as they are and equalises the darker levels
 * onto 0 to 255, in place: with T = N * white_percent / 100 and L the highest level that at least
 * T pixels reach or exceed, v < L becomes (255 * cdf[v] + (N - T) / 2) / (N - T).
 * 0 percent is histeq; 100 and more leave the image unchanged. A negative percentage makes the
 * darker levels fall short of 255. N as for histeq, and N * white_percent fits 31 bits. */
ORVA_FP_API void histeq_white(uint8_t *image, int32_t width, int32_t height, int32_t white_percent);

/** histeq_white under a second name. */
ORVA_FP_API void OVHistEqW(uint8_t *image, int32_t width, int32_t height, int32_t white_percent);

/** @} */

/** @name Stack median
 * @{ */

/** Combines n (4 to 7) rows of length bytes into one by a median estimate per position: sample 0
 * comes from dst, sample k (1 to n - 1) from src + k * length; the first row of src is never read.
 * The results replace dst. Exact for n = 4 (mean of the two middle values, truncated), a fixed
 * estimate for 5, 6 and 7. dst may equal src or overlap it: positions are then computed one after
 * another from index 0. Returns 1 for n from 4 to 7 (also when length is 0 or less: nothing is
 * touched), 0 for any other n (nothing is touched). */
ORVA_FP_API int32_t get_median(uint8_t *dst, const uint8_t *src, int32_t length, int32_t n);

/** @} */

/** @name Frame layout
 * @{ */

/** Bits of the mode of images_flips. */
enum { FLIP_VERTICAL = 1, FLIP_HORIZONTAL = 2 };

/** Turns the rows upside down, in place. Rows of any width. */
ORVA_FP_API void flip_vertical(uint8_t *frame, int32_t width, int32_t height);

/** Mirrors every row, in place. */
ORVA_FP_API void flip_horizontal(uint8_t *frame, int32_t width, int32_t height);

/** Flips count frames that lie one after another, in place, as the bits of mode say (other bits
 * have no meaning); mode 3 turns each by 180 degrees. Nothing happens for a mode without either
 * bit, for a count of 0, or for frames without pixels. All frames together must hold less than
 * 2^32 bytes. */
ORVA_FP_API void images_flips(uint8_t *frames, int32_t width, int32_t height, uint32_t count,
                              uint8_t mode);

/** Replaces every value v by 255 - v, in place. */
ORVA_FP_API void image_reverse(uint8_t *frame, int32_t width, int32_t height);

/** Copies a 16-bit frame without its T dummy, that is without row 0 and column width / 2:
 * dst receives (height - 1) * (width - 1) values. dst must not overlap src. */
ORVA_FP_API void remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, uint16_t *dst);

/** The same from a frame stored transposed: the value of row r and column c is
 * src[c * height + r]. With keep nonzero the dummy stays, and dst receives the width * height
 * values of the plain transpose. dst must not overlap src. */
ORVA_FP_API void transpose_remove_T_dummy(const uint16_t *src, int32_t width, int32_t height,
                                          int32_t keep, uint16_t *dst);

/** @} */

/** @name BMP
 * @{ */

/** Copies the pixel rows of an 8-bit BMP file held in memory into a packed frame, without the fill
 * bytes at the rows' ends and in the order in which the file stores them (bottom row first for the
 * usual positive height). *width and *height receive what the header says; either place may be
 * null. Always returns 1.
 *
 * Only the pixel offset, the width and the height in the header are looked at, read bytewise. The
 * call cannot know the size of either buffer: the caller makes sure that the file is an
 * uncompressed 8-bit BMP that is complete and that dst has room for width * height bytes. With a
 * width or (as in a top-down file) a height of 0 or less no pixel is copied and dst may be null. */
ORVA_FP_API int32_t get_raw_data_from_bmp(const uint8_t *bmp, uint8_t *dst, int32_t *width,
                                          int32_t *height);

/** Does no work: returns 1 and reads and writes nothing. The parameters mirror those of
 * get_raw_data_from_bmp; any of them may be null. */
ORVA_FP_API int32_t save_raw_data_to_bmp(uint8_t *bmp, const uint8_t *src, const int32_t *width,
                                         const int32_t *height);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
