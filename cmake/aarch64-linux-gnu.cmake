# Cross build for 64-bit Arm Linux with Debian's aarch64-linux-gnu toolchain. Programs of
# the target (tests, and test discovery) run under qemu-user with the cross libraries as
# their root.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# The devices' cores have the CRC32 instructions (optional in Armv8.0, part of every later
# version); the CRC-32 of the binaries uses them then.
set(CMAKE_C_FLAGS_INIT "-march=armv8-a+crc")
set(CMAKE_CXX_FLAGS_INIT "-march=armv8-a+crc")

set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
