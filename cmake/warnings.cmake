# The warnings of our own code, as errors on request.
add_library(orva_warnings INTERFACE)
target_compile_options(orva_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2
  -Wundef -Wno-format-nonliteral -Wno-missing-field-initializers
  $<$<BOOL:${ORVA_FP_WERROR}>:-Werror>)
