# Finds the project's dependencies. The error about a missing dependency names its Debian package.
function(tavik_missing what package)
  message(FATAL_ERROR "${what} was not found. Install the Debian package ${package}, or run scripts/install-dependencies.")
endfunction()

# The imported targets are global, because a project that adds this one as a subdirectory links them through our
# targets.
set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL ON)

find_package(Threads REQUIRED)

find_package(ZLIB)
if(NOT ZLIB_FOUND)
  tavik_missing("zlib" "zlib1g-dev")
endif()

find_library(ISAL_LIBRARY NAMES isal)
find_path(ISAL_INCLUDE_DIR NAMES isa-l/igzip_lib.h)
if(NOT ISAL_LIBRARY OR NOT ISAL_INCLUDE_DIR)
  tavik_missing("ISA-L (libisal and isa-l/igzip_lib.h)" "libisal-dev")
endif()

find_library(XXHASH_LIBRARY NAMES xxhash)
find_path(XXHASH_INCLUDE_DIR NAMES xxhash.h)
if(NOT XXHASH_LIBRARY OR NOT XXHASH_INCLUDE_DIR)
  tavik_missing("xxHash (libxxhash and xxhash.h)" "libxxhash-dev")
endif()

if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  find_path(SIMDE_INCLUDE_DIR NAMES simde/x86/sse4.1.h)
  if(NOT SIMDE_INCLUDE_DIR)
    tavik_missing("SIMDe (simde/x86/sse4.1.h)" "libsimde-dev")
  endif()
endif()

set(tavik_boost_packages
  log libboost-log-dev log_setup libboost-log-dev program_options libboost-program-options-dev
  filesystem libboost-filesystem-dev iostreams libboost-iostreams-dev thread libboost-thread-dev)
while(tavik_boost_packages)
  list(POP_FRONT tavik_boost_packages component package)
  find_package(Boost 1.74 QUIET CONFIG COMPONENTS ${component})
  if(NOT Boost_FOUND)
    tavik_missing("Boost.${component} (1.74 or later)" "${package}")
  endif()
endwhile()

find_library(MINIMAP2_ARCHIVE NAMES libminimap2.a)
find_path(MINIMAP2_INCLUDE_DIR NAMES mmpriv.h)
if(NOT MINIMAP2_ARCHIVE OR NOT MINIMAP2_INCLUDE_DIR)
  tavik_missing("The minimap2 library (libminimap2.a and mmpriv.h)" "libminimap2-dev")
endif()
# The headers of minimap2 2.24 contain no version, so the version is that of the Debian package.
set(TAVIK_MINIMAP2_VERSION "unknown")
find_program(DPKG_QUERY dpkg-query)
if(DPKG_QUERY)
  execute_process(COMMAND "${DPKG_QUERY}" -W -f "\${Version}\n" libminimap2-dev
    OUTPUT_VARIABLE tavik_minimap2_package ERROR_QUIET)
  # If the package is installed for several architectures, dpkg-query prints its version once for each.
  if(tavik_minimap2_package MATCHES "^[^\n]+")
    set(TAVIK_MINIMAP2_VERSION "${CMAKE_MATCH_0}")
  endif()
endif()
# qel_minimap2/wrapped_functions.cpp replaces functions of minimap2, so a minimap2 release is accepted only after its
# output has been compared with this project's output. If the release cannot be determined, minimap2 is accepted.
set(tavik_judged_minimap2 2.24 2.27)
option(TAVIK_UNJUDGED_MINIMAP2 "Build with a minimap2 release whose output has not been compared with ours" OFF)
string(REGEX MATCH "^[0-9]+\\.[0-9]+" TAVIK_MINIMAP2_RELEASE "${TAVIK_MINIMAP2_VERSION}")
if(TAVIK_MINIMAP2_RELEASE AND NOT TAVIK_MINIMAP2_RELEASE IN_LIST tavik_judged_minimap2 AND NOT TAVIK_UNJUDGED_MINIMAP2)
  list(JOIN tavik_judged_minimap2 " and " tavik_judged_minimap2)
  message(FATAL_ERROR "minimap2 ${TAVIK_MINIMAP2_RELEASE} has not been tested with this project; "
    "${tavik_judged_minimap2} have been. To test it, configure with -D TAVIK_UNJUDGED_MINIMAP2=ON and run all tests, "
    "tests/judges/kernel-check and tests/judges/compare-with-minimap2. If all succeed, add the release to "
    "cmake/TavikDependencies.cmake.")
endif()
# The linker replaces these functions of minimap2. The program built from minimap2_assumptions.cpp proves that this
# works with the installed minimap2.
set(TAVIK_MINIMAP2_WRAPPED ksw_extd2_sse mm_sketch mm_idx_getseq mm_idx_cal_max_occ mm_seed_mz_flt mm_collect_matches
  radix_sort_128x mg_lchain_dp mg_lchain_rmq)
list(TRANSFORM TAVIK_MINIMAP2_WRAPPED PREPEND "LINKER:--wrap=" OUTPUT_VARIABLE TAVIK_MINIMAP2_WRAP_OPTIONS)
if(NOT TAVIK_MINIMAP2_PROVEN STREQUAL "${MINIMAP2_ARCHIVE} ${TAVIK_MINIMAP2_VERSION}")
  set(tavik_proof SOURCES "${CMAKE_CURRENT_LIST_DIR}/minimap2_assumptions.cpp"
    CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${MINIMAP2_INCLUDE_DIR}"
    LINK_OPTIONS ${TAVIK_MINIMAP2_WRAP_OPTIONS} LINK_LIBRARIES "${MINIMAP2_ARCHIVE}" ZLIB::ZLIB Threads::Threads m
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON NO_CACHE)
  if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    try_compile(tavik_proof_compiles ${tavik_proof} OUTPUT_VARIABLE tavik_proof_errors)
    set(tavik_proof_status 0)
  else()
    try_run(tavik_proof_status tavik_proof_compiles ${tavik_proof}
      COMPILE_OUTPUT_VARIABLE tavik_proof_errors RUN_OUTPUT_VARIABLE tavik_proof_output)
  endif()
  if(NOT tavik_proof_compiles)
    message(FATAL_ERROR "minimap2 ${TAVIK_MINIMAP2_VERSION} does not declare or define what "
      "cmake/minimap2_assumptions.cpp expects:\n${tavik_proof_errors}")
  elseif(NOT tavik_proof_status EQUAL 0)
    message(FATAL_ERROR "minimap2 ${TAVIK_MINIMAP2_VERSION} does not do what qel_minimap2 relies on (status "
      "${tavik_proof_status}):\n${tavik_proof_output}")
  endif()
  set(TAVIK_MINIMAP2_PROVEN "${MINIMAP2_ARCHIVE} ${TAVIK_MINIMAP2_VERSION}" CACHE INTERNAL "")
endif()

find_package(nlohmann_json 3 QUIET)
if(NOT nlohmann_json_FOUND)
  tavik_missing("nlohmann's JSON library" "nlohmann-json3-dev")
endif()

# Chart.js draws the charts of the report. It is compiled into tavik_report and tavik_live together with its licence.
find_file(CHART_JS chart.min.js PATHS /usr/share/javascript/chart.js NO_DEFAULT_PATH)
find_file(CHART_JS_LICENCE copyright PATHS /usr/share/doc/libjs-chart.js NO_DEFAULT_PATH)
if(NOT CHART_JS OR NOT CHART_JS_LICENCE)
  tavik_missing("Chart.js (chart.min.js and its copyright file)" "libjs-chart.js")
endif()
file(READ "${CHART_JS}" tavik_chart_banner LIMIT 200)
if(NOT tavik_chart_banner MATCHES "Chart\\.js v3\\.")
  message(FATAL_ERROR "Chart.js 3 is needed; ${CHART_JS} is another version.")
endif()
