# Header-only libraries of the tool and the simulator. A build for this machine takes the installed
# packages. A cross build takes their folders out of ORVA_FP_HEADER_ONLY and nothing else of it, for
# /usr/include holds this machine's libc as well.
set(ORVA_FP_HEADER_ONLY /usr/include CACHE PATH
  "Where a cross build of the tool finds the folders CLI, fmt and nlohmann")

# orva_header_only(PACKAGE TARGET FOLDER DEFINITIONS...)
macro(orva_header_only package target folder)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(${package} QUIET)
  elseif(EXISTS ${ORVA_FP_HEADER_ONLY}/${folder})
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/header_only)
    file(CREATE_LINK ${ORVA_FP_HEADER_ONLY}/${folder} ${PROJECT_BINARY_DIR}/header_only/${folder}
         SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED)
    target_include_directories(${target} INTERFACE ${PROJECT_BINARY_DIR}/header_only)
    target_compile_definitions(${target} INTERFACE ${ARGN})
  endif()
endmacro()

orva_header_only(CLI11 CLI11::CLI11 CLI)
orva_header_only(fmt fmt::fmt-header-only fmt FMT_HEADER_ONLY=1)
orva_header_only(nlohmann_json nlohmann_json::nlohmann_json nlohmann)
