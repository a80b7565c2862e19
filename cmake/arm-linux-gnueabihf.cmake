# Cross build for 32-bit ARM Linux (armhf) with Debian's g++-arm-linux-gnueabihf; the tests
# run under qemu-user:
#   cmake -S . -B build/arm -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake \
#         -DQV_BUILD_TOOLS=OFF -DQV_BUILD_BENCHMARKS=OFF
#   cmake --build build/arm -j2 && ctest --test-dir build/arm
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(QV_ARM_TRIPLET arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${QV_ARM_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${QV_ARM_TRIPLET}-g++)
set(QV_ARM_SYSROOT /usr/${QV_ARM_TRIPLET})

# GCC notes ABI changes of parameter passing on ARM; they are notes, not defects.
set(CMAKE_C_FLAGS_INIT "-Wno-psabi")
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")

# Libraries and headers come from the target's tree only; programs from the host.
set(CMAKE_FIND_ROOT_PATH ${QV_ARM_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test programs (and gtest_discover_tests) run through the user-mode emulator.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;${QV_ARM_SYSROOT})
