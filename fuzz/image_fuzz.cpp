// Every image function beside its simple form. The input's first byte selects the function.
#include "fuzz/expect.h"
#include "support/comparisons.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const auto comparisons = support::comparisons();
  const support::comparison &function = comparisons[data[0] % comparisons.size()];
  support::scene scene({data + 1, size - 1});
  function.compare(scene);
  fuzz::expect(scene.differences().empty(), function.name, scene.differences().c_str());
  return 0;
}
