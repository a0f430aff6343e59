# Compiles for arm64 on another processor and runs the programs in an emulator. The libraries are Debian's packages for
# arm64 (scripts/install-dependencies cross).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# Debian 13 calls the static emulator qemu-aarch64.
find_program(TAVIK_ARM64_EMULATOR NAMES qemu-aarch64-static qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR "${TAVIK_ARM64_EMULATOR}")
# CMake chooses Debian's library folder by itself only when it does not cross-compile.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(CMAKE_INSTALL_LIBDIR "lib/aarch64-linux-gnu" CACHE PATH "Folder of installed libraries, relative to the prefix")
endif()
