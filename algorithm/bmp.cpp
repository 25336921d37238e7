#include "orva_fp/image.h"
