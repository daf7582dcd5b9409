# Builds for 32-bit Arm with a floating-point unit (Debian's armhf),
# with Debian's cross compiler and the libraries that are installed beside this machine's own
# (dpkg --add-architecture armhf). What is built can be run by qemu's user mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm)

# CMake finds libraries by the compiler's own folders; pkg-config has to be told.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig)
