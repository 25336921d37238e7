# What cmake --install gives: library, public headers, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)

set(ORVA_FP_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/orva_fp_normal_sensor_test)

if(NOT ANDROID)
  # The stand-in for the log library goes where only this library looks for it, so that it never
  # stands before a genuine liblog. Linkers follow the run path as the loader does.
  set_target_properties(orva_fp_normal_sensor_test PROPERTIES INSTALL_RPATH "$ORIGIN/orva_fp")
  install(TARGETS orva_android_log EXPORT orva_fp_normal_sensor_test
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/orva_fp)
endif()

# The Android SDK's CMake 3.22 has no file sets yet.
if(CMAKE_VERSION VERSION_LESS 3.23)
  install(DIRECTORY include/orva_fp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
else()
  file(GLOB ORVA_FP_HEADERS CONFIGURE_DEPENDS include/orva_fp/*.h)
  target_sources(orva_fp_normal_sensor_test
    PUBLIC FILE_SET HEADERS BASE_DIRS include FILES ${ORVA_FP_HEADERS})
  set(ORVA_FP_HEADER_SET FILE_SET HEADERS)
endif()
install(TARGETS orva_fp_normal_sensor_test EXPORT orva_fp_normal_sensor_test
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ${ORVA_FP_HEADER_SET})
install(EXPORT orva_fp_normal_sensor_test NAMESPACE orva_fp::
        FILE orva_fp_normal_sensor_testTargets.cmake DESTINATION ${ORVA_FP_PACKAGE_DIR})

configure_package_config_file(
  cmake/orva_fp_normal_sensor_testConfig.cmake.in orva_fp_normal_sensor_testConfig.cmake
  INSTALL_DESTINATION ${ORVA_FP_PACKAGE_DIR})
write_basic_package_version_file(orva_fp_normal_sensor_testConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/orva_fp_normal_sensor_testConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/orva_fp_normal_sensor_testConfigVersion.cmake
  DESTINATION ${ORVA_FP_PACKAGE_DIR})

# The pkg-config file finds the prefix from its own place: an install tree may be moved.
file(RELATIVE_PATH ORVA_FP_PC_PREFIX
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/orva_fp_normal_sensor_test.pc.in orva_fp_normal_sensor_test.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orva_fp_normal_sensor_test.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
