# One interface target carries the warnings that every target of ours is built with.
add_library(avoip_warnings INTERFACE)
target_compile_options(avoip_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror)
# GCC 12 sees overlapping copies in "text" + std::string(...) where there are none.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(avoip_warnings INTERFACE -Wno-restrict)
endif()
