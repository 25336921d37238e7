// What the image functions share: the image size that some of them take from a global, and the
// pinned layouts of their records.
#include <cstddef>

#include "orva_fp/image.h"

image_dims g_img_alg_sd = {0, 0};

static_assert(sizeof(image_dims) == 8);

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

static_assert(offsetof(noise_check_param, noise_flags) == 0);
static_assert(offsetof(noise_check_param, strong_spike_count) == 4);
static_assert(offsetof(noise_check_param, delta_spike_count) == 8);
static_assert(offsetof(noise_check_param, spike_delta) == 12);
static_assert(sizeof(noise_check_param) == 16);
