#include "orva_fp/sensor_test.h"
