#include "bench.h"

namespace bench {

void add_noise() {}

}  // namespace bench
