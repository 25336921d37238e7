// The log calls of the image functions, which never reach the system log.
#include <gtest/gtest.h>
#include <vector>

#include <orva_fp/image.h>

#include "support/recorder.h"

namespace {

TEST(ImageLog, EveryLine) {
  support::start_journal("", false);
  // Mean 1, spread sqrt(0.5): one high, one low, none deviating.
  const uint8_t pixels[2] = {1, 2};
  static image_eval_record record;
  record = {.check_flags = 3, .high_threshold = 1, .low_threshold = 2, .image = pixels};
  g_img_alg_sd = {2, 1};
  evaluate_image(&record);
  g_img_alg_sd = {0, 3};
  evaluate_image(&record);

  std::vector<uint16_t> frame(52 * 2, 65535);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 52, 2), 1);
  frame[1] = 7;
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 52, 2), 0);
  frame[52 + 50] = 3;  // the last inner sample
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 52, 2), 0);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 0, 2), 0);
  EXPECT_EQ(is_mq4xx_white_noise(frame.data(), 2, 2), 0);

  uint32_t count = 0;
  g_img_alg_sd = {2, 1};
  vCalculateBlockDROtsuCS1(pixels, nullptr, &count, nullptr, nullptr, 16);
  g_img_alg_sd = {0, 0};

  EXPECT_EQ(support::take_journal(),
      "3:orva_image_algorithm evaluate_image:888 0501FF 1, 1, 0, 3, 1, 707106e-6, 0\n"
      "3:orva_image_algorithm evaluate_image:888 0501FF 0, 0, 0, 0, 0, 0e-6, 0\n"
      "3:orva_image_algorithm is_mq4xx_white_noise:1561 DBG_NOIDSE k=100, max=65535, min=65535\n"
      "3:orva_image_algorithm is_mq4xx_white_noise:1564 white_noise 100\n"
      "3:orva_image_algorithm is_mq4xx_white_noise:1561 DBG_NOIDSE k=99, max=65535, min=7\n"
      "3:orva_image_algorithm is_mq4xx_white_noise:1561 DBG_NOIDSE k=98, max=65535, min=3\n"
      "3:orva_image_algorithm is_mq4xx_white_noise:1561 DBG_NOIDSE k=0, max=0, min=65535\n"
      "3:orva_image_algorithm is_mq4xx_white_noise:1561 DBG_NOIDSE k=0, max=0, min=65535\n"
      "3:orva_image_algorithm vCalculateBlockDROtsuCS1:1370 slice_window_size: 16, W(2), H(1)\n");
  support::stop_journal();
}

}  // namespace
