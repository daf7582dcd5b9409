# What makes a fault of memory end the program instead of serving whoever provokes it. Everything
# that is built optimised and without sanitizers gets it, for whatever processor it is built.
# tests/hardening/ reads it off what was built.
#
# A compiler that does not know one of these flags must fail, not leave it out.

# GCC has level 3 from 12 on, together with the size of an object that is known at run time only.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles(
    "int main(int count, char**) {
         char text[8];
         return static_cast<int>(__builtin_dynamic_object_size(text + count, 0));
     }" AVOIP_HAS_FORTIFY_3)
if(AVOIP_HAS_FORTIFY_3)
    set(fortify 3)
else()
    set(fortify 2)
endif()

set(AVOIP_HARDENING_COMPILE_OPTIONS
    -fPIE
    -fstack-protector-strong
    -fstack-clash-protection
    # Distributions put a level of their own before these.
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${fortify}
    -D_GLIBCXX_ASSERTIONS)
set(AVOIP_HARDENING_LINK_OPTIONS -pie -Wl,-z,relro -Wl,-z,now)

# What the processor itself checks about where calls and returns go.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
    list(APPEND AVOIP_HARDENING_COMPILE_OPTIONS -fcf-protection)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    list(APPEND AVOIP_HARDENING_COMPILE_OPTIONS -mbranch-protection=standard)
endif()

# The C library's own checks (_FORTIFY_SOURCE) need an optimised build.
if(NOT AVOIP_SANITIZE AND CMAKE_BUILD_TYPE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    add_compile_options(${AVOIP_HARDENING_COMPILE_OPTIONS})
    add_link_options(${AVOIP_HARDENING_LINK_OPTIONS})
endif()
