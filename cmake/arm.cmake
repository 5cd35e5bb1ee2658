# The toolchain for a set of 32-bit ARM: Debian's cross compiler for its architecture armhf. What it
# builds runs in an emulator, against the libraries that Debian installs beside the native ones.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)  # notes of how older compilers passed arguments
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-arm-static)
