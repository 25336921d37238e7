# The warnings of our own code, as errors on request.
add_library(orva_warnings INTERFACE)
target_compile_options(orva_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2
  -Wundef -Wno-format-nonliteral -Wno-missing-field-initializers
  $<$<BOOL:${ORVA_FP_WERROR}>:-Werror>)

# The code around the library: the simulator, the tool and the tests. A release build optimises it a
# little only, which halves the time that it takes; what is to be fast is the library.
add_library(orva_surroundings INTERFACE)
# GCC 12 warns of overlaps in std::string that cannot be.
target_compile_options(orva_surroundings INTERFACE
  $<$<CONFIG:Release>:-O1> $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_link_libraries(orva_surroundings INTERFACE orva_warnings)
