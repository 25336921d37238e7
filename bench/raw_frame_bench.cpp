#include "bench.h"

namespace bench {

void add_raw_frame() {}

}  // namespace bench
