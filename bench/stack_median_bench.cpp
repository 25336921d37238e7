#include "bench.h"

namespace bench {

void add_stack_median() {}

}  // namespace bench
