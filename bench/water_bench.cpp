#include "bench.h"

namespace bench {

void add_water() {}

}  // namespace bench
