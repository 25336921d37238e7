#include "bench.h"

namespace bench {

void add_equalisation() {}

}  // namespace bench
