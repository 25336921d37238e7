#include "bench.h"

namespace bench {

void add_layout() {}

}  // namespace bench
