// What the image functions share: the image size that some of them take from a global.
#include "orva_fp/image.h"

image_dims g_img_alg_sd = {0, 0};

static_assert(sizeof(image_dims) == 8);
