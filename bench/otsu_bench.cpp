#include "bench.h"

namespace bench {

void add_otsu() {}

}  // namespace bench
