# The project's dependencies. The error about a missing one names its Debian package.
function(tavik_missing what package)
  message(FATAL_ERROR "${what} was not found. Install the Debian package ${package}, or run scripts/install-dependencies.")
endfunction()

# A project that adds this one as a subdirectory also links these targets, through ours.
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

set(tavik_boost_packages
  log libboost-log-dev log_setup libboost-log-dev program_options libboost-program-options-dev
  filesystem libboost-filesystem-dev iostreams libboost-iostreams-dev thread libboost-thread-dev)
set(Boost_NO_WARN_NEW_VERSIONS ON)
while(tavik_boost_packages)
  list(POP_FRONT tavik_boost_packages component package)
  find_package(Boost 1.74 QUIET COMPONENTS ${component})
  if(NOT Boost_FOUND)
    tavik_missing("Boost.${component} (1.74 or later)" "${package}")
  endif()
endwhile()

find_library(MINIMAP2_ARCHIVE NAMES libminimap2.a)
find_path(MINIMAP2_INCLUDE_DIR NAMES mmpriv.h)
if(NOT MINIMAP2_ARCHIVE OR NOT MINIMAP2_INCLUDE_DIR)
  tavik_missing("The minimap2 library (libminimap2.a and mmpriv.h)" "libminimap2-dev")
endif()
# qel_minimap2/wrapped_functions.cpp replaces functions of exactly this version. The headers contain no version, but the
# package has one.
set(TAVIK_MINIMAP2_VERSION "unknown")
find_program(DPKG_QUERY dpkg-query)
if(DPKG_QUERY)
  execute_process(COMMAND "${DPKG_QUERY}" -W -f "\${Version}" libminimap2-dev
    OUTPUT_VARIABLE tavik_minimap2_package ERROR_QUIET)
  if(tavik_minimap2_package AND NOT tavik_minimap2_package MATCHES "^2\\.24[^0-9]")
    message(FATAL_ERROR "minimap2 2.24 is needed; the package libminimap2-dev here is ${tavik_minimap2_package}.")
  endif()
  if(tavik_minimap2_package)
    set(TAVIK_MINIMAP2_VERSION "${tavik_minimap2_package}")
  endif()
endif()

find_package(nlohmann_json 3 QUIET)
if(NOT nlohmann_json_FOUND)
  tavik_missing("nlohmann's JSON library" "nlohmann-json3-dev")
endif()

# Draws the charts of the report; compiled into the program with its licence.
find_file(CHART_JS chart.min.js PATHS /usr/share/javascript/chart.js NO_DEFAULT_PATH)
find_file(CHART_JS_LICENCE copyright PATHS /usr/share/doc/libjs-chart.js NO_DEFAULT_PATH)
if(NOT CHART_JS OR NOT CHART_JS_LICENCE)
  tavik_missing("Chart.js (chart.min.js and its copyright)" "libjs-chart.js")
endif()
file(READ "${CHART_JS}" tavik_chart_banner LIMIT 200)
if(NOT tavik_chart_banner MATCHES "Chart\\.js v3\\.")
  message(FATAL_ERROR "Chart.js 3 is needed; ${CHART_JS} is another version.")
endif()
