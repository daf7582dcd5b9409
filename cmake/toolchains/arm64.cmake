# Builds for 64-bit Arm,
# with Debian's cross compiler and the libraries that are installed beside this machine's own
# (dpkg --add-architecture arm64). What is built can be run by qemu's user mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)

# CMake finds libraries by the compiler's own folders; pkg-config has to be told.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
