# Compiles for arm64 on another processor, and runs what is compiled under an emulator. The libraries are Debian's for
# arm64 (scripts/install-dependencies cross).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# Debian 13 calls the static one by the name of the dynamic one.
find_program(TAVIK_ARM64_EMULATOR NAMES qemu-aarch64-static qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR "${TAVIK_ARM64_EMULATOR}")
# As on arm64 itself, where CMake knows Debian's folders.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(CMAKE_INSTALL_LIBDIR "lib/aarch64-linux-gnu" CACHE PATH "Where libraries are installed, in the prefix")
endif()
