# The product: liborva_fp_normal_sensor_test.so.

# Everything but the logging calls, which the log-call test replaces.
set(ORVA_FP_SOURCES
  algorithm/blocks.cpp
  algorithm/bmp.cpp
  algorithm/equalisation.cpp
  algorithm/evaluation.cpp
  algorithm/layout.cpp
  algorithm/mark_runs.cpp
  algorithm/median.cpp
  algorithm/noise.cpp
  algorithm/orva_image_algorithm.cpp
  algorithm/otsu.cpp
  algorithm/raw_frame.cpp
  algorithm/stack_median.cpp
  algorithm/statistics.cpp
  algorithm/water.cpp
  api/interrupt.cpp
  api/orva_fp_normal.cpp
  platform/file.cpp
  platform/memory_time.cpp
  sensor_test_kd740/interrupt_wait.cpp
  sensor_test_kd740/orva_fp_normal_sensor_test.cpp
  sensor_test_kd740/pause.cpp
  sensor_test_kd740/request_loop.cpp
  sensor_test_kd740/result_files.cpp)
list(TRANSFORM ORVA_FP_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/)

# The sensor test's half-megabyte frame must not step over a thread's guard page unnoticed. Clang
# before 18 knows the option but for 64-bit ARM only warns that it has no use for it.
include(CheckCXXCompilerFlag)
include(CMakePushCheckState)
cmake_push_check_state()
string(APPEND CMAKE_REQUIRED_FLAGS " -Werror")
check_cxx_compiler_flag(-fstack-clash-protection ORVA_FP_HAS_STACK_CLASH_PROTECTION)
cmake_pop_check_state()

# How the library's sources are compiled, wherever they are compiled. Fortified headers may call
# libc under other names (__open_2, __poll_chk), which a stand-in for open or poll would miss. Android
# has no stand-ins, and its toolchain's own choice holds there.
add_library(orva_fp_compile INTERFACE)
target_compile_features(orva_fp_compile INTERFACE cxx_std_20)
target_compile_options(orva_fp_compile INTERFACE
  -fno-exceptions -fno-rtti -fno-threadsafe-statics -ffp-contract=off
  -fvisibility=hidden -fvisibility-inlines-hidden -fstack-protector-strong
  $<$<NOT:$<BOOL:${ANDROID}>>:-U_FORTIFY_SOURCE>
  $<$<BOOL:${ORVA_FP_HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>
  $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},aarch64>:-mbranch-protection=standard>)
target_include_directories(orva_fp_compile INTERFACE ${PROJECT_SOURCE_DIR})

add_library(orva_fp_normal_sensor_test SHARED ${ORVA_FP_SOURCES} platform/log.cpp)
add_library(orva_fp::normal_sensor_test ALIAS orva_fp_normal_sensor_test)
set_target_properties(orva_fp_normal_sensor_test PROPERTIES
  EXPORT_NAME normal_sensor_test
  LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
target_include_directories(orva_fp_normal_sensor_test PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(orva_fp_normal_sensor_test PRIVATE
  $<BUILD_INTERFACE:orva_fp_compile> $<BUILD_INTERFACE:orva_warnings> orva_android_log)

# Names such as sort and file_write are bound inside the library, whatever the program defines.
# --as-needed drops the C++ run-time library, of which nothing is used.
target_link_options(orva_fp_normal_sensor_test PRIVATE
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map -Wl,--no-undefined-version
  -Wl,-Bsymbolic-functions -Wl,--as-needed
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack
  $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},aarch64>:-Wl,-z,max-page-size=16384>)
if(NOT ORVA_FP_SANITIZE)  # the sanitizers' own names come with the program
  target_link_options(orva_fp_normal_sensor_test PRIVATE -Wl,-z,defs)
endif()
