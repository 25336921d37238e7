# What is to be fast is the library. The code around it (the simulator, the tool and the tests) is
# optimised a little only in a release build, which halves the time to build it.
add_library(orva_surroundings INTERFACE)
# GCC 12 warns of overlaps in std::string that cannot be.
target_compile_options(orva_surroundings INTERFACE
  $<$<CONFIG:Release>:-O1> $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_link_libraries(orva_surroundings INTERFACE orva_warnings)
