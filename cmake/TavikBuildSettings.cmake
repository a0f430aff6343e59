# tavik_build_settings sets C++20, the warnings and the sanitizers. Every C++ target of this project links it PRIVATE.
set(TAVIK_SANITIZE "" CACHE STRING "Value of -fsanitize, such as 'address,undefined' or 'thread'; empty: no sanitizer")
# A user's compiler may give warnings that the developers' compilers do not give, so only the presets turn warnings into
# errors.
option(TAVIK_WARNINGS_AS_ERRORS "Treat warnings as errors, as every preset does" OFF)

add_library(tavik_build_settings INTERFACE)
add_library(tavik::build_settings ALIAS tavik_build_settings)
target_compile_features(tavik_build_settings INTERFACE cxx_std_20)
target_compile_options(tavik_build_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wold-style-cast
  $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local> -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wformat=2 -Wundef
  $<$<BOOL:${TAVIK_WARNINGS_AS_ERRORS}>:-Werror>)
# g++ 12 falsely reports overlapping copies in std::string's operator+ (GCC bug 105651).
target_compile_options(tavik_build_settings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(TAVIK_SANITIZE)
  target_compile_options(tavik_build_settings INTERFACE
    -fsanitize=${TAVIK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # g++ gives these warnings falsely in instrumented code.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized -Wno-conversion -Wno-sign-conversion>)
  target_link_options(tavik_build_settings INTERFACE -fsanitize=${TAVIK_SANITIZE})
  if(TAVIK_SANITIZE MATCHES "thread")
    # g++ 12 warns that its thread sanitizer does not support fences. Only Boost's headers contain fences.
    target_compile_options(tavik_build_settings INTERFACE -Wno-tsan)
  endif()
endif()
