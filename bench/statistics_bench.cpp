#include "bench.h"

namespace bench {

void add_statistics() {}

}  // namespace bench
