/** @file
 * Image functions over 8-bit grey images and 16-bit raw frames.
 */
#ifndef ORVA_FP_IMAGE_H
#define ORVA_FP_IMAGE_H

#include <stdint.h>

#include "orva_fp/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup images Image functions
 * Measures, filters and layout changes of 8-bit grey images and 16-bit raw frames.
 *
 * What follows holds for every function here, unless the function itself says otherwise.
 *
 * - An 8-bit image is row-major, with one unsigned byte per pixel and no gaps between the rows:
 *   pixel (x, y) is at index y * width + x. A 16-bit raw frame is laid out the same way in unsigned
 *   16-bit samples. Width and height are in pixels or samples.
 * - An image is empty when a side is 0 or less, or when width * height is above 2147483647. Then no
 *   pixel and no mask is read or written, the pointers to them may be null, and the function
 *   returns what it documents for an empty image. The same goes for areas of rows * cols pixels.
 * - Pointers are not null except where their \@param says so. 16-bit samples, doubles and records
 *   are aligned as their type asks; bytes need no alignment.
 * - Buffers belong to the caller and are used only during the call. A function cannot know the size
 *   of a buffer: that it holds the whole image is up to the caller.
 * - Buffers that a function writes do not overlap its other buffers.
 * - Divisions truncate toward zero. Means are truncated, never rounded.
 * - No function allocates memory, keeps state or takes a lock, and none takes more than 32 KiB of
 *   stack. Any number of threads may call any of them at once, as long as no two calls share a
 *   buffer that one of them writes.
 * - Results are the same bits on every processor, with every compiler and optimisation level.
 * @{ */

/** @defgroup image_size Image size in force
 * The size of the image that evaluate_image(), vCalculateBlockDRCS1() and
 * vCalculateBlockDROtsuCS1() work on.
 * @{ */

/** Size of an image. */
typedef struct image_dims {
  int32_t width;  /**< in pixels */
  int32_t height; /**< in pixels */
} image_dims;

/** The size in force: 0, 0 at load. The caller sets it before a call that uses it; the library only
 * reads it.
 * @warning It must not change during such a call. So calls with images of different sizes are made
 *          one after another, also from several threads. */
extern ORVA_FP_API image_dims g_img_alg_sd;

/** @} */

/** @defgroup image_evaluation Defect evaluation
 * Pixels that are too bright, too dark or too far from the mean, and how they lie together.
 * @{ */

/** Limits of the evaluation. */
enum {
  EVAL_MARK_MAP_SIZE = 4408, /**< largest image, in pixels: capacity of the mark map */
  EVAL_DEFECT_RUN = 20       /**< shortest straight run of marked pixels that is a defect */
};

/** Bits of image_eval_record::check_flags. */
enum {
  EVAL_CHECK_HIGH = 0x01,      /**< mark pixels above high_threshold */
  EVAL_CHECK_LOW = 0x02,       /**< mark pixels below low_threshold */
  EVAL_CHECK_DEVIATION = 0x04, /**< mark pixels too far from the mean */
  EVAL_SPREAD_LOW = 0x10       /**< a low pixel marks its right neighbour low as well */
};

/** Bits of one byte of image_eval_record::mark_map. A pixel may carry several. */
enum {
  MARK_HIGH = 0x01,     /**< above high_threshold */
  MARK_LOW = 0x02,      /**< below low_threshold, or right of such a pixel */
  MARK_DEVIATION = 0x04 /**< too far from the mean */
};

/** Thresholds to begin with; the orva-fp tool uses them, with all three checks and line_check 1.
 *
 * They suit the frame of a finger, whose levels use neither end of the scale: only a dead or a
 * saturated pixel comes near an end. The deviation finds what the other two miss in a dim or a
 * bright frame, where a dead pixel may lie between them. The levels of a frame without a finger lie
 * close together. For such frames take the widest spread that good sensors show, and a reserve. */
enum {
  EVAL_DEFAULT_HIGH = 245,     /**< for high_threshold: the upper 10 levels are high */
  EVAL_DEFAULT_LOW = 25,       /**< for low_threshold: the lower 25 levels are low */
  EVAL_DEFAULT_DEVIATION = 115 /**< for deviation_threshold: a little less than half the scale */
};

/** Inputs and results of evaluate_image(); 4488 bytes on 64-bit processors. */
typedef struct image_eval_record {
  uint32_t check_flags;        /**< in: any of EVAL_CHECK_* and EVAL_SPREAD_LOW */
  int32_t high_threshold;      /**< in: a pixel greater than this is high; any number */
  int32_t low_threshold;       /**< in: a pixel less than this is low; any number */
  int32_t deviation_threshold; /**< in: a pixel farther from the mean deviates; any number */
  int32_t line_check;          /**< in: nonzero looks for runs and blocks of marked pixels */
  uint32_t reserved_a;         /**< neither read nor written */
  uint8_t mark_map[EVAL_MARK_MAP_SIZE]; /**< out: MARK_* per pixel, indexed like the image */
  const uint8_t *image;                 /**< in: the image, only read; null for an empty one only */
  uint8_t mean;                         /**< out: truncated mean of all pixels */
  int32_t defect_found;    /**< out: 1 when max_run is EVAL_DEFECT_RUN or more, else 0 */
  int32_t max_run;         /**< out: length of the longest straight run of marked pixels */
  double std_dev;          /**< out: standard deviation about mean */
  uint64_t reserved_b;     /**< neither read nor written */
  int32_t high_count;      /**< out: pixels counted high */
  int32_t deviation_count; /**< out: pixels counted deviating */
  int32_t low_count;       /**< out: pixels counted low */
} image_eval_record;

/** Marks and counts the defective pixels of an image and measures how they lie together. The size
 * of the image is in #g_img_alg_sd.
 *
 * A check happens when its EVAL_CHECK_* bit is set:
 * - high: pixel > high_threshold
 * - low: pixel < low_threshold
 * - deviating: |pixel - mean| > deviation_threshold
 *
 * With EVAL_CHECK_LOW and EVAL_SPREAD_LOW a low pixel also marks its right neighbour in the row
 * MARK_LOW. A neighbour that is not low itself is counted low as well, unless it is above
 * high_threshold.
 *
 * std_dev = sqrt(sum((pixel - mean)^2) / (width * height)), with the truncated mean and the
 * quotient in double precision.
 *
 * Runs and blocks are looked for when check_flags and line_check are both nonzero; otherwise
 * max_run and defect_found are 0. All marks count alike:
 * - max_run is the longest run of marked pixels in a row, a column or either diagonal.
 * - When a 2 x 2 block is marked throughout, max_run is at least EVAL_DEFECT_RUN.
 *
 * @param[in,out] record  inputs, and the results, all of which are written; of mark_map only the
 *                        first width * height bytes are. Calls that run at once need a record each
 * @return always 0
 *
 * @note An empty image gives zeros and a std_dev that is not a number.
 * @note Implementation-defined: the image is not evaluated when record is null, when image is null
 *       though the size in force has pixels, or when there are more than EVAL_MARK_MAP_SIZE pixels.
 *       Then one error line with the reason is logged. The results of a record are zeros, and its
 *       mark_map is unchanged. */
ORVA_FP_API int32_t evaluate_image(image_eval_record *record);

/** @} */

/** @defgroup image_water Water
 * Water on the sensor: a wide dark band across many rows or columns.
 * @{ */

/** Limits of is_water(). A line is a row or a column. */
enum {
  WATER_MARGIN = 5,       /**< how far below the mean of its line a pixel is dark */
  WATER_RUN_LIMIT = 30,   /**< a line qualifies when more dark pixels than this follow the first */
  WATER_STREAK_LIMIT = 20 /**< it is water when more adjacent lines than this qualify */
};

/** Tells whether a wide dark band crosses many adjacent rows or many adjacent columns.
 *
 * Each line is judged by a threshold of its own, t = (mean of the line) - WATER_MARGIN:
 * 1. A line qualifies when it holds a pixel below t, then more than WATER_RUN_LIMIT pixels of at
 *    most t, and then a pixel above t.
 * 2. Water is a streak of more than WATER_STREAK_LIMIT adjacent rows that qualify and after them a
 *    row that does not; or the same of columns.
 *
 * So dark pixels that reach the end of their line do not count, nor does a streak that reaches the
 * last line. A line with a mean below WATER_MARGIN never qualifies. Column 0 takes part in its
 * row's mean but is not searched; row 0 is searched in its columns.
 *
 * @param[in] image   the image
 * @param     width   in pixels
 * @param     height  in pixels
 * @return 1 for water, else 0; 0 for an empty image */
ORVA_FP_API int32_t is_water(const uint8_t *image, int32_t width, int32_t height);

/** @} */

/** @defgroup image_statistics Intensity and deviation
 * Sums, means, minima, distances and standard deviations.
 *
 * Sums are unsigned 32-bit and wrap modulo 2^32; in a signed result a sum from 2^31 on is negative.
 * A stride is the number of bytes from the beginning of a row to that of the next. It may be any
 * number: so an area can be cut out of a wider image, or be read from the bottom up with a negative
 * one.
 * @{ */

/** Sum of the pixels of an area.
 *
 * @param[in] image      first pixel of the area
 * @param     stride     bytes from row to row
 * @param     rows       height of the area in pixels
 * @param     cols       width of the area in pixels
 * @param     min_level  a pixel below it rejects the area; 0 or less rejects nothing
 * @return the sum; -1 for a rejected area; 0 for an empty one */
ORVA_FP_API int32_t count_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows,
                                        int32_t cols, int32_t min_level);

/** Mean of the pixels of an area: the result of count_intensity_cs1() divided by rows * cols.
 *
 * @param[in] image      first pixel of the area
 * @param     stride     bytes from row to row
 * @param     rows       height of the area in pixels
 * @param     cols       width of the area in pixels
 * @param     min_level  a pixel below it rejects the area; 0 or less rejects nothing
 * @return the mean; 0 for an empty area. The -1 of a rejected area is divided as well: it gives -1
 *         for a single pixel, and 0 for more */
ORVA_FP_API int32_t count_average_intensity_cs1(const uint8_t *image, int32_t stride, int32_t rows,
                                                int32_t cols, int32_t min_level);

/** Smallest pixel of a box in the middle of an image. The box begins at column
 * (width - box_width) / 2 and row (height - box_height) / 2.
 *
 * @param[in] image       the image
 * @param     width       of the image in pixels
 * @param     height      of the image in pixels
 * @param     box_width   in pixels; at most width
 * @param     box_height  in pixels; at most height
 * @return 0 to 255; 255 when the box or the image is empty
 * @warning A box larger than the image is not refused: pixels outside the image are read. */
ORVA_FP_API int32_t calculate_minimum(const uint8_t *image, int32_t width, int32_t height,
                                      int32_t box_width, int32_t box_height);

/** Sum of the squared differences of two areas, pixel by pixel. No square root is taken.
 *
 * @param[in] image_a  first pixel of one area
 * @param[in] image_b  first pixel of the other
 * @param     stride   bytes from row to row, in both
 * @param     rows     height of both in pixels
 * @param     cols     width of both in pixels
 * @return the sum; 0 for empty areas */
ORVA_FP_API uint32_t euclidean_distance_cs1(const uint8_t *image_a, const uint8_t *image_b,
                                            int32_t stride, int32_t rows, int32_t cols);

/** Standard deviation of bytes, in integers: mean and variance are both truncated, and then the
 * square root is taken.
 *
 * @param[in] data   the bytes; may be null when count is 0 or less
 * @param     count  their number
 * @return the deviation; 0.0 when count is 0 or less */
ORVA_FP_API double standard_deviation(const uint8_t *data, int32_t count);

/** Population standard deviation of doubles, in double precision. Sums run in the order of the
 * values.
 *
 * @param[in] values  may be null when count is 0 or less
 * @param     count   their number, which is the divisor
 * @return the deviation; not a number when count is 0; 0.0 or -0.0 when it is negative
 * @note Implementation-defined: whatever leads to a result that is not a number, it has the same
 *       bits: those of the positive quiet NaN without a payload. */
ORVA_FP_API double calculate_sd(const double *values, int32_t count);

/** @} */

/** @defgroup image_raw Raw frames, centre and offset
 * Saturated samples, the mean of the middle, and the darkest pixel.
 * @{ */

/** Limits of is_mq4xx_white_noise(). */
enum {
  WHITE_NOISE_LEVEL = 65535,  /**< the value of a saturated sample */
  WHITE_NOISE_MIN_COUNT = 100 /**< so many saturated samples are white noise */
};

/** Tells whether a raw frame holds many saturated samples. The first and the last column are left
 * out.
 *
 * @param[in] frame   the samples
 * @param     width   in samples
 * @param     height  in samples
 * @return 1 when WHITE_NOISE_MIN_COUNT samples or more are WHITE_NOISE_LEVEL, else 0; 0 for an
 *         empty frame */
ORVA_FP_API int32_t is_mq4xx_white_noise(const uint16_t *frame, uint32_t width, uint32_t height);

/** Mean of the pixels of a square in the middle of an image. The square begins at column
 * (width - size) / 2 and row (height - size) / 2.
 *
 * @param[in] image   the image; null gives -1
 * @param     width   of the image in pixels
 * @param     height  of the image in pixels
 * @param     size    side of the square in pixels; up to 2901 its sum fits 31 bits
 * @return 0 to 255; -1 when image is null, when size is above width or height, or when size is
 *         above 0 and the image is empty; otherwise 0 when size is 0 or less
 * @note Implementation-defined: the first row. With it the square always lies inside the image. */
ORVA_FP_API int32_t image_center_mean(const uint8_t *image, int32_t width, int32_t height,
                                      int32_t size);

/** Finds the darkest pixel that the mask does not exclude, and subtracts its level from every pixel
 * of the image, excluded or not, modulo 256.
 *
 * @param[in,out] image   the image
 * @param[in]     mask    one byte per pixel: 1 excludes the pixel, any other value does not
 * @param         width   in pixels
 * @param         height  in pixels
 * @return the level subtracted, 0 to 255; 255 when all pixels are excluded or the image is empty */
ORVA_FP_API int32_t offset_min(uint8_t *image, const uint8_t *mask, int32_t width, int32_t height);

/** @} */

/** @defgroup image_otsu Otsu thresholds and block summaries
 * The level that best splits an image in two, and one value per block.
 *
 * The mask may be null. A pixel takes part when there is no mask or when its mask byte is 0.
 * @{ */

/** Limits of these functions. */
enum {
  OTSU_MAX_PIXELS = 8421504 /**< up to so many pixels the sums of classes and blocks are exact */
};

/** Otsu's threshold: the level t that best splits the pixels that take part into a low class (at
 * most t) and a high class (above t).
 *
 * The score of a level is d * ((low share * high share) * d) in single precision, where d is the
 * low mean minus the high mean, and the shares are of width * height, masked pixels included. Of
 * equal scores the lowest level wins. t is always a level that occurs: the highest of the low
 * class.
 *
 * @param[in]  image       the image
 * @param      width       in pixels
 * @param      height      in pixels
 * @param[out] low_count   pixels of the low class
 * @param[out] high_count  pixels of the high class
 * @param[out] low_mean    their truncated mean
 * @param[out] high_mean   their truncated mean
 * @param[in]  mask        or null
 * @return t, 0 to 255. When fewer than two different levels take part, t and all four outputs are
 *         0; so they are for an empty image */
ORVA_FP_API int32_t find_otsu_th(const uint8_t *image, int32_t width, int32_t height,
                                 uint32_t *low_count, uint32_t *high_count, uint8_t *low_mean,
                                 uint8_t *high_mean, const uint8_t *mask);

/** Otsu's threshold as find_otsu_th() gives it, with means that are not truncated: they are
 * computed in single precision and widened.
 *
 * @param[in]  image       the image
 * @param      width       in pixels
 * @param      height      in pixels
 * @param[out] low_count   pixels of the low class
 * @param[out] high_count  pixels of the high class
 * @param[out] low_mean    their mean
 * @param[out] high_mean   their mean
 * @param[in]  mask        or null
 * @return the threshold; it and all four outputs are 0 as for find_otsu_th() */
ORVA_FP_API uint8_t ucFindOtsuThCS1(const uint8_t *image, int32_t width, int32_t height,
                                    uint32_t *low_count, uint32_t *high_count, double *low_mean,
                                    double *high_mean, const uint8_t *mask);

/** Block counts and sides. */
enum {
  BLOCK_COUNT_QUADRANTS = 4, /**< in *block_count: selects the quadrants */
  BLOCK_DEFAULT_SIDE = 8     /**< a side to begin with, which the orva-fp tool uses: at 500 dpi such
                                a block holds about one ridge and one valley */
};

/** Mean of the pixels that take part, for every block of an image. The size of the image is in
 * #g_img_alg_sd.
 *
 * What the blocks are depends on *block_count on entry:
 * - BLOCK_COUNT_QUADRANTS: the four quadrants, in the order top left, top right, bottom left,
 *   bottom right. The extra column of an odd width goes to the right, the extra row of an odd
 *   height to the bottom. slice_window_size is not looked at.
 * - Any other value: (width / s) * (height / s) square blocks of side s = slice_window_size, in
 *   raster order. The grid begins at column (width % s) / 2 and row (height % s) / 2; the pixels
 *   around it belong to no block.
 *
 * @param[in]     image              the image
 * @param[in,out] block_count        on entry what the blocks are, on return the number of values
 * @param[out]    block_values       room for all values: a mean each, 0 where no pixel takes part
 * @param[in]     mask               or null
 * @param         slice_window_size  side of a block in pixels, 1 to 255
 *
 * @warning Set *block_count before each call: a call that gives four values leaves 4 there, and the
 *          next one would take the quadrants.
 * @note Implementation-defined: a slice_window_size of 0 gives a count of 0 and no values. An empty
 *       image gives four zeros for the quadrants, else a count of 0. */
ORVA_FP_API void vCalculateBlockDRCS1(const uint8_t *image, uint32_t *block_count,
                                      uint8_t *block_values, const uint8_t *mask,
                                      uint8_t slice_window_size);

/** Dynamic range of every block of the grid of vCalculateBlockDRCS1(): the mean of the high class
 * minus the mean of the low class in the block's own Otsu split, truncated. There are no quadrants.
 *
 * @param[in]  image              the image
 * @param      unused             not read; may be null
 * @param[out] block_count        the number of values; not read
 * @param[out] block_values       room for all values: a range each, 0 where fewer than two
 *                                different levels take part
 * @param[in]  mask               or null
 * @param      slice_window_size  side of a block in pixels, 1 to 255
 *
 * @note Implementation-defined: a slice_window_size of 0 gives a count of 0 and no values. Sides
 *       above 16 work like the smaller ones; they take about 72 KiB of stack. */
ORVA_FP_API void vCalculateBlockDROtsuCS1(const uint8_t *image, const void *unused,
                                          uint32_t *block_count, uint8_t *block_values,
                                          const uint8_t *mask, uint8_t slice_window_size);

/** @} */

/** @defgroup image_noise Noise and median
 * Spikes, which are pixels that stand out from their neighbours, and median filters.
 *
 * A pixel of level c is a spike with margin m when the pixels above, below, left and right of it
 * are all greater than c + m, or all less than c - m. Diagonal neighbours do not matter. The pixels
 * of the first and last row and column are no spikes.
 * @{ */

/** Bits of noise_check_param::noise_flags and of the result of fr_has_noise(). */
enum {
  NOISE_CHECK_STRONG = 1, /**< spikes with margin NOISE_STRONG_MARGIN */
  NOISE_CHECK_DELTA = 2   /**< spikes with margin spike_delta */
};

/** Limits of fr_has_noise(). */
enum {
  NOISE_STRONG_MARGIN = 42,  /**< margin of a strong spike */
  NOISE_STRONG_LIMIT = 3,    /**< strong spikes allowed for every NOISE_STRONG_COLUMNS columns */
  NOISE_STRONG_COLUMNS = 48, /**< columns left over allow none */
  NOISE_DELTA_LIMIT = 100    /**< delta spikes allowed */
};

/** Margin to begin with, for spike_delta and for remove_noise_use_median_filter(); the orva-fp tool
 * uses it. It lies above the grain of a good frame and below NOISE_STRONG_MARGIN, so that it also
 * catches spikes that are not strong. Usually both checks are asked for; with the strong one alone
 * spike_delta has no effect. */
enum { NOISE_DEFAULT_DELTA = 30 };

/** Inputs and results of fr_has_noise(). */
typedef struct noise_check_param {
  uint32_t noise_flags;        /**< in: any of NOISE_CHECK_*; other bits are ignored */
  uint32_t strong_spike_count; /**< out: strong spikes; 0 without NOISE_CHECK_STRONG */
  uint32_t delta_spike_count;  /**< out: delta spikes; 0 without NOISE_CHECK_DELTA */
  uint32_t spike_delta;        /**< in: margin of a delta spike, taken as a signed 32-bit number */
} noise_check_param;

/** Sorts bytes in ascending order, in place.
 *
 * @param[in,out] values  null does nothing
 * @param         count   their number; below 2 nothing happens */
ORVA_FP_API void sort(uint8_t *values, int32_t count);

/** Counts the spikes of an image and tells whether there are too many.
 *
 * @param[in]     image   the image
 * @param         width   in pixels
 * @param         height  in pixels
 * @param[in,out] param   what to count, and the counts; may be null for an image of fewer than
 *                        three rows or columns
 * @return NOISE_CHECK_STRONG when there are more strong spikes than
 *         NOISE_STRONG_LIMIT * (width / NOISE_STRONG_COLUMNS), plus NOISE_CHECK_DELTA when there
 *         are more delta spikes than NOISE_DELTA_LIMIT; 0 for an image of fewer than three rows or
 *         columns
 * @note Implementation-defined: with a null param a larger image is not examined and gives 0. */
ORVA_FP_API int32_t fr_has_noise(const uint8_t *image, int32_t width, int32_t height,
                                 noise_check_param *param);

/** Replaces every spike by the median of its 3 x 3 neighbourhood, in place and in raster order.
 * Later pixels are tested, and their medians taken, with the earlier replacements in place. Pixels
 * of the first and last row and column never change.
 *
 * @param[in,out] image   the image
 * @param         width   in pixels
 * @param         height  in pixels
 * @param         delta   margin of a spike
 * @return how many pixels were replaced; 0 for an image of fewer than three rows or columns */
ORVA_FP_API int32_t remove_noise_use_median_filter(uint8_t *image, int32_t width, int32_t height,
                                                   int32_t delta);

/** Replaces every pixel by the median of its 3 x 3 neighbourhood in the unfiltered image. Outside
 * the image its border pixels are repeated.
 *
 * @param[in,out] image   the image
 * @param[out]    work    width * height bytes, which then hold the unfiltered image
 * @param         width   in pixels
 * @param         height  in pixels
 * @note Implementation-defined: an image of one row or one column stays as it is, and so does the
 *       work buffer. */
ORVA_FP_API void median_filter(uint8_t *image, uint8_t *work, int32_t width, int32_t height);

/** @} */

/** @defgroup image_equalisation Histogram equalisation
 * Grey levels spread over the whole scale.
 *
 * N is width * height, and cdf[v] is the number of pixels of at most v.
 * @{ */

/** Limits and defaults. */
enum {
  HISTEQ_MAX_PIXELS = 8405024,      /**< largest N: 255 * N + N / 2 fits 31 bits */
  HISTEQ_DEFAULT_WHITE_PERCENT = 10 /**< a share to begin with, which the orva-fp tool uses: keeps
                                       the bright background beside a finger */
};

/** Equalises the histogram of an image in place: v becomes (255 * cdf[v] + N / 2) / N.
 *
 * @param[in,out] image   the image; an empty one is left alone
 * @param         width   in pixels
 * @param         height  in pixels; N is at most HISTEQ_MAX_PIXELS */
ORVA_FP_API void histeq(uint8_t *image, int32_t width, int32_t height);

/** Keeps the brightest pixels of an image and equalises the levels below them, in place.
 *
 * T = N * white_percent / 100 pixels are to be kept, and D = N - T is the rest. L is the highest
 * level that at least T pixels reach or exceed. Below L, v becomes (255 * cdf[v] + D / 2) / D; from
 * L on it stays. So a pixel below L may end brighter than one that was kept.
 *
 * @param[in,out] image          the image; an empty one is left alone
 * @param         width          in pixels
 * @param         height         in pixels; N is at most HISTEQ_MAX_PIXELS
 * @param         white_percent  0 to 100; N * white_percent fits 31 bits. 0 is histeq(); 100 and
 *                               more change nothing; with less than 0 the darker levels do not
 *                               reach 255 */
ORVA_FP_API void histeq_white(uint8_t *image, int32_t width, int32_t height, int32_t white_percent);

/** histeq_white() under a second name.
 *
 * @param[in,out] image          as there
 * @param         width          as there
 * @param         height         as there
 * @param         white_percent  as there */
ORVA_FP_API void OVHistEqW(uint8_t *image, int32_t width, int32_t height, int32_t white_percent);

/** @} */

/** @defgroup image_stack Stack median
 * Several rows combined into one.
 * @{ */

/** Combines 4 to 7 rows of bytes into one: a median estimate for every position. With n = 4 it is
 * the exact median (the mean of the two middle values, truncated), with 5, 6 and 7 a fixed
 * estimate. Its time does not depend on the values.
 *
 * @param[in,out] dst     row 0; then the results
 * @param[in]     src     the other rows: row k, from 1 to n - 1, is at src + k * length. The row at
 *                        src itself is not read. src may be equal to dst or overlap it; the result
 *                        is then that of one position after another, from the first to the last
 * @param         length  bytes of a row; with 0 or less nothing is read or written
 * @param         n       number of rows
 * @return 1 when n is 4 to 7, whatever length is; 0 for any other n, and nothing is touched */
ORVA_FP_API int32_t get_median(uint8_t *dst, const uint8_t *src, int32_t length, int32_t n);

/** @} */

/** @defgroup image_layout Frame layout
 * Flips, inversion, and removal of the T dummy. The T dummy of a 16-bit frame is its row 0 and its
 * column width / 2.
 * @{ */

/** Bits of the mode of images_flips(). */
enum {
  FLIP_VERTICAL = 1,  /**< rows upside down */
  FLIP_HORIZONTAL = 2 /**< every row mirrored */
};

/** Turns the rows of a frame upside down, in place. Rows may be of any width.
 *
 * @param[in,out] frame   the frame
 * @param         width   in pixels
 * @param         height  in pixels */
ORVA_FP_API void flip_vertical(uint8_t *frame, int32_t width, int32_t height);

/** Mirrors every row of a frame, in place.
 *
 * @param[in,out] frame   the frame
 * @param         width   in pixels
 * @param         height  in pixels */
ORVA_FP_API void flip_horizontal(uint8_t *frame, int32_t width, int32_t height);

/** Flips frames that lie one after another, each in place.
 *
 * @param[in,out] frames  the first frame; may be null when nothing is to be done
 * @param         width   of one frame in pixels
 * @param         height  of one frame in pixels
 * @param         count   number of frames; all together hold less than 2^32 bytes
 * @param         mode    any of FLIP_*; both turn each frame by 180 degrees. Other bits are
 *                        ignored, and without either bit nothing is done */
ORVA_FP_API void images_flips(uint8_t *frames, int32_t width, int32_t height, uint32_t count,
                              uint8_t mode);

/** Inverts a frame in place: v becomes 255 - v.
 *
 * @param[in,out] frame   the frame
 * @param         width   in pixels
 * @param         height  in pixels */
ORVA_FP_API void image_reverse(uint8_t *frame, int32_t width, int32_t height);

/** Copies a 16-bit frame without its T dummy.
 *
 * @param[in]  src     the frame
 * @param      width   of src in samples
 * @param      height  of src in samples
 * @param[out] dst     room for (width - 1) * (height - 1) samples; may be null when that is 0 */
ORVA_FP_API void remove_T_dummy(const uint16_t *src, int32_t width, int32_t height, uint16_t *dst);

/** Copies a 16-bit frame that is stored transposed, with or without its T dummy. The sample of row
 * r and column c is src[c * height + r].
 *
 * @param[in]  src     the frame, stored column after column
 * @param      width   of the frame in samples, before the dummy is removed
 * @param      height  of the frame in samples, before the dummy is removed
 * @param      keep    0 removes the dummy; any other value keeps it
 * @param[out] dst     the frame, row after row: room for (width - 1) * (height - 1) samples, or for
 *                     width * height with the dummy; may be null when that is 0 */
ORVA_FP_API void transpose_remove_T_dummy(const uint16_t *src, int32_t width, int32_t height,
                                          int32_t keep, uint16_t *dst);

/** @} */

/** @defgroup image_bmp BMP
 * Pixel rows out of a BMP file in memory.
 * @{ */

/** Copies the pixel rows of an 8-bit BMP file into a packed frame, without the fill bytes at the
 * ends of the rows. The rows stay in the file's order, which is usually from the bottom up;
 * flip_vertical() sets such a frame upright.
 *
 * Of the header only these fields are read, bytewise: the pixel offset (at byte 10), the width (18)
 * and the height (22).
 *
 * @param[in]  bmp     the file, at least its first 26 bytes and all pixel rows
 * @param[out] dst     room for width * height bytes; may be null when that image is empty
 * @param[out] width   the header's width, whatever it is; may be null
 * @param[out] height  the header's height, whatever it is; may be null
 * @return always 1
 *
 * @note No pixel is copied when the header's image is empty. So it is with the negative height of a
 *       file that is stored from the top down.
 * @warning The file is not checked, nor is its size known. Before the call the caller checks that
 *          - the file begins with "BM", has 8 bits per pixel and is not compressed;
 *          - its palette is grey, with entry v of level v: the bytes of the file are copied, and
 *            they are places in the palette, not levels;
 *          - the height is positive, or the file is turned by other means;
 *          - every row, of width bytes rounded up to a multiple of 4, lies inside the file;
 *          - dst has room for the rows. */
ORVA_FP_API int32_t get_raw_data_from_bmp(const uint8_t *bmp, uint8_t *dst, int32_t *width,
                                          int32_t *height);

/** Does nothing: no argument is read, and nothing is written.
 *
 * @param bmp     may be null
 * @param src     may be null
 * @param width   may be null
 * @param height  may be null
 * @return always 1 */
ORVA_FP_API int32_t save_raw_data_to_bmp(uint8_t *bmp, const uint8_t *src, const int32_t *width,
                                         const int32_t *height);

/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
