# Debian's cross compiler for aarch64, and qemu to run what it makes. scripts/aarch64-libraries lays the libraries for
# that processor into KRW_AARCH64_LIBRARIES.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(KRW_AARCH64_LIBRARIES "${CMAKE_CURRENT_LIST_DIR}/../build/aarch64-libraries" CACHE PATH "Root of unpacked packages")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KRW_AARCH64_LIBRARIES)
set(CMAKE_FIND_ROOT_PATH "${KRW_AARCH64_LIBRARIES}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-aarch64 -L /usr/aarch64-linux-gnu -E "LD_LIBRARY_PATH=${KRW_AARCH64_LIBRARIES}/usr/lib/aarch64-linux-gnu")
