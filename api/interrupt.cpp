#include "orva_fp/device.h"
