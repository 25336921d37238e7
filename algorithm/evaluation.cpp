// Defect evaluation: marks, counts, mean and deviation of a small image.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "algorithm/bytes.h"
#include "algorithm/mark_runs.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"
#include "orva_fp/log.h"
#include "orva_fp/memory_time.h"
#include "platform/log_line.h"

static_assert(offsetof(image_eval_record, mark_map) == 24);
static_assert(offsetof(image_eval_record, image) == 4432);
static_assert(offsetof(image_eval_record, mean) == 4440);
static_assert(offsetof(image_eval_record, defect_found) == 4444);
static_assert(offsetof(image_eval_record, max_run) == 4448);
static_assert(offsetof(image_eval_record, std_dev) == 4456);
static_assert(offsetof(image_eval_record, reserved_b) == 4464);
static_assert(offsetof(image_eval_record, high_count) == 4472);
static_assert(offsetof(image_eval_record, deviation_count) == 4476);
static_assert(offsetof(image_eval_record, low_count) == 4480);
static_assert(sizeof(image_eval_record) == 4488);

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

// The levels from first to first + span. A threshold may lie anywhere outside 0 to 255; what a
// pixel is compared with stays within bytes.
struct level_range {
  uint8_t first;
  uint8_t span;
  uint8_t present;  // 0xFF, or 0 for no level at all

  // All bits for a level in the range, else none.
  template <typename V>
  ORVA_INLINE V mask(V levels) const {
    return orva::at_least(V{} + span, levels - first) & present;
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

// Sets masks[i] to all bits when pixel i has a left neighbour in its row and that is of one of the
// levels, else to 0.
void mask_right_neighbours(const orva::plane<const uint8_t> &image, level_range levels,
                           uint8_t *masks) {
  orva::for_each_overlapping_vector<uint8_t>(
      image.size() - 1, [=](size_t i, auto lanes) ORVA_INLINE {
        using V = orva::vector<uint8_t, lanes>;
        orva::store(masks + i + 1, levels.mask(orva::load<V>(image.data + i)));
      });
  for (size_t y = 0; y < image.height; ++y) masks[y * image.width] = 0;
}

// Counts the pixels of each kind. A pixel may be marked low without being counted low, so these
// have masks of their own.
void count_marks(const uint8_t *counted_low, size_t size, image_eval_record *record) {
  orva::for_each_block<128 * orva::kVectorBytes>(size, [=](size_t offset, size_t count) {
    orva::lane_count high, low, far;
    orva::for_each_vector<uint8_t>(count, [&](auto at) ORVA_INLINE {
      const auto carries = [marks = at(record->mark_map + offset)](uint8_t bit) ORVA_INLINE {
        return orva::at_least(marks & bit, orva::splat(bit));
      };
      high.add(carries(MARK_HIGH));
      low.add(at(counted_low + offset));
      far.add(carries(MARK_DEVIATION));
    });
    record->high_count += static_cast<int32_t>(high.total());
    record->low_count += static_cast<int32_t>(low.total());
    record->deviation_count += static_cast<int32_t>(far.total());
  });
}

void mark(const orva::plane<const uint8_t> &image, image_eval_record *record) {
  const uint32_t flags = record->check_flags;
  const auto checked = [flags](uint32_t check, level_range levels) {
    return (flags & check) != 0 ? levels : kNoLevel;
  };
  const level_range above = levels_above(record->high_threshold);
  const level_range low = checked(EVAL_CHECK_LOW, levels_below(record->low_threshold));
  const level_range far = checked(EVAL_CHECK_DEVIATION, levels_above(record->deviation_threshold));
  const uint8_t high_bit = (flags & EVAL_CHECK_HIGH) != 0 ? MARK_HIGH : 0;
  const uint8_t mean = record->mean;
  uint8_t *marks = record->mark_map;

  uint8_t right_of_low[EVAL_MARK_MAP_SIZE];
  const bool spreads = (flags & EVAL_SPREAD_LOW) != 0;
  mask_right_neighbours(image, spreads ? low : kNoLevel, right_of_low);

  uint8_t counted_low[EVAL_MARK_MAP_SIZE];
  orva::for_each_overlapping_vector<uint8_t>(image.size(), [&](size_t i, auto lanes) ORVA_INLINE {
    using V = orva::vector<uint8_t, lanes>;
    const V pixels = orva::load<V>(image.data + i);
    const V is_right_of_low = orva::load<V>(right_of_low + i);
    const V is_above = above.mask(pixels);
    const V is_low = low.mask(pixels);
    const V is_far = far.mask(orva::absolute_difference(pixels, V{} + mean));
    orva::store(marks + i, (is_above & high_bit) |
                               ((is_low | is_right_of_low) & uint8_t{MARK_LOW}) |
                               (is_far & uint8_t{MARK_DEVIATION}));
    orva::store(counted_low + i, is_low | (is_right_of_low & ~is_above));
  });
  count_marks(counted_low, image.size(), record);
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
    record->std_dev = std::sqrt(static_cast<double>(m.squared_deviations(count, mean)) / count);
    micro_deviation = static_cast<int32_t>(record->std_dev * 1000000);  // 255 million at most
  }

  sys_memclear(record->mark_map, static_cast<uint32_t>(size));
  if (!image.empty()) mark(image, record);
  if (record->check_flags != 0 && record->line_check != 0) {
    const orva::plane<const uint8_t> marks(record->mark_map, dims.width, dims.height);
    record->max_run = static_cast<int32_t>(orva::longest_mark_run(marks));
    record->defect_found = record->max_run >= EVAL_DEFECT_RUN ? 1 : 0;
  }
  output_log(orva::kLogDebug, orva::kLogTag, kLogFile, kLogFunction, 888,
             "0501FF %d, %d, %d, %d, %d, %de-6, %d", record->high_count, record->low_count,
             record->deviation_count, static_cast<int32_t>(sum), record->mean, micro_deviation,
             record->max_run);
  return 0;
}
