// Every image function beside its simple form. The input's first byte selects the function.
#include "fuzz/expect.h"
#include "support/comparisons.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const support::comparison &function =
      support::comparisons()[data[0] % support::comparisons().size()];
  const std::string differences = function.differences({data + 1, size - 1});
  fuzz::expect(differences.empty(), function.name, differences.c_str());
  return 0;
}
