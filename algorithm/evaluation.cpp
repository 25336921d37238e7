// Defect evaluation: marks, counts, mean and deviation of a small image.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "algorithm/mark_runs.h"
#include "algorithm/moments.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"
#include "orva_fp/log.h"
#include "orva_fp/memory_time.h"
#include "platform/log_line.h"

namespace {

constexpr char kLogFile[] = "orva_image_algorithm";
constexpr char kLogFunction[] = "evaluate_image";

// What keeps the image from being evaluated, or null.
const char *refusal(const image_eval_record *record, image_dims dims) {
  if (record == nullptr) return "null record";
  const orva::plane image(record->image, dims.width, dims.height);
  if (!image.empty() && record->image == nullptr) return "null image";
  if (image.size() > EVAL_MARK_MAP_SIZE) return "image too large";
  return nullptr;
}

void clear_results(image_eval_record *record) {
  record->mean = 0;
  record->defect_found = 0;
  record->max_run = 0;
  record->std_dev = 0.0;
  record->high_count = 0;
  record->deviation_count = 0;
  record->low_count = 0;
}

// Consecutive levels. The thresholds may lie anywhere outside 0 to 255, the tests of the pixels
// stay within bytes.
struct level_range {
  uint8_t first;
  uint8_t span;
  uint8_t present;  // 0xFF, or 0 for no level at all

  // 0xFF for a level in the range, else 0.
  uint8_t mask(uint8_t level) const {
    return static_cast<uint8_t>(level - first) <= span ? present : uint8_t{0};
  }
};

constexpr level_range kNoLevel = {0, 0, 0};

level_range levels_above(int32_t threshold) {
  if (threshold >= 255) return kNoLevel;
  const int32_t first = std::max(threshold, -1) + 1;
  return {static_cast<uint8_t>(first), static_cast<uint8_t>(255 - first), 0xFF};
}

level_range levels_below(int32_t threshold) {
  if (threshold <= 0) return kNoLevel;
  return {0, static_cast<uint8_t>(std::min(threshold, 256) - 1), 0xFF};
}

uint8_t distance(uint8_t a, uint8_t b) {
  return static_cast<uint8_t>(std::max(a, b) - std::min(a, b));
}

// Pixels that carry the bit. A block's count fits its bytes.
int32_t count_marked(const uint8_t *marks, size_t size, uint8_t bit) {
  constexpr size_t kBlock = 128;
  int32_t total = 0;
  for (size_t at = 0; at < size; at += kBlock) {
    const size_t count = std::min(kBlock, size - at);
    uint8_t marked = 0;
    for (size_t i = 0; i < count; ++i) {
      marked = static_cast<uint8_t>(marked + ((marks[at + i] & bit) != 0 ? 1 : 0));
    }
    total += marked;
  }
  return total;
}

// Sets masks[i] to 0xFF where the left neighbour of pixel i in its row is of one of the levels,
// else to 0.
void mask_right_neighbours(const uint8_t *image, size_t width, size_t size, level_range levels,
                           uint8_t *masks) {
  for (size_t i = 1; i < size; ++i) masks[i] = levels.mask(image[i - 1]);
  for (size_t i = 0; i < size; i += width) masks[i] = 0;
}

void mark(image_eval_record *record, size_t width, size_t size) {
  const uint32_t flags = record->check_flags;
  const auto checked = [flags](uint32_t check, level_range levels) {
    return (flags & check) != 0 ? levels : kNoLevel;
  };
  const level_range above = levels_above(record->high_threshold);
  const level_range low = checked(EVAL_CHECK_LOW, levels_below(record->low_threshold));
  const level_range far = checked(EVAL_CHECK_DEVIATION, levels_above(record->deviation_threshold));
  const uint8_t high_bit = (flags & EVAL_CHECK_HIGH) != 0 ? MARK_HIGH : 0;
  const uint8_t mean = record->mean;
  const uint8_t *image = record->image;
  uint8_t *marks = record->mark_map;

  // First the pixels right of a low one, then the pixels counted low.
  uint8_t low_masks[EVAL_MARK_MAP_SIZE];
  if ((flags & EVAL_SPREAD_LOW) != 0) {
    mask_right_neighbours(image, width, size, low, low_masks);
  } else {
    memset(low_masks, 0, size);
  }
  for (size_t i = 0; i < size; ++i) {
    const uint8_t pixel = image[i];
    const uint8_t is_above = above.mask(pixel);
    const uint8_t is_low = low.mask(pixel);
    const uint8_t is_far = far.mask(distance(pixel, mean));
    marks[i] = static_cast<uint8_t>((is_above & high_bit) | ((is_low | low_masks[i]) & MARK_LOW) |
                                    (is_far & MARK_DEVIATION));
    low_masks[i] = static_cast<uint8_t>(is_low | (low_masks[i] & ~is_above));
  }
  record->high_count = count_marked(marks, size, MARK_HIGH);
  record->low_count = count_marked(low_masks, size, 0xFF);
  record->deviation_count = count_marked(marks, size, MARK_DEVIATION);
}

}  // namespace

int32_t evaluate_image(image_eval_record *record) {
  const image_dims dims = g_img_alg_sd;
  if (record != nullptr) clear_results(record);
  if (const char *reason = refusal(record, dims)) {
    output_log(orva::kLogError, orva::kLogTag, kLogFile, kLogFunction, __LINE__,
               "evaluate_image: %s (%d x %d)", reason, dims.width, dims.height);
    return 0;
  }
  const orva::plane image(record->image, dims.width, dims.height);
  const size_t size = image.size();

  uint32_t sum = 0;
  int32_t micro_deviation = 0;
  if (image.empty()) {
    record->std_dev = std::numeric_limits<double>::quiet_NaN();
  } else {
    const orva::moments m = orva::moments_of(image.data, size);
    const uint32_t count = static_cast<uint32_t>(size);
    const uint32_t mean = m.sum / count;
    sum = m.sum;
    record->mean = static_cast<uint8_t>(mean);
    record->std_dev = std::sqrt(static_cast<double>(m.spread(count, mean)) / count);
    micro_deviation = static_cast<int32_t>(record->std_dev * 1000000);  // 255 million at most
  }

  sys_memclear(record->mark_map, static_cast<uint32_t>(size));
  mark(record, image.width, size);
  if (record->check_flags != 0 && record->line_check != 0) {
    record->max_run =
        static_cast<int32_t>(orva::longest_mark_run(record->mark_map, image.width, image.height));
    record->defect_found = record->max_run >= EVAL_DEFECT_RUN ? 1 : 0;
  }
  output_log(orva::kLogDebug, orva::kLogTag, kLogFile, kLogFunction, 888,
             "0501FF %d, %d, %d, %d, %d, %de-6, %d", record->high_count, record->low_count,
             record->deviation_count, static_cast<int32_t>(sum), record->mean, micro_deviation,
             record->max_run);
  return 0;
}
