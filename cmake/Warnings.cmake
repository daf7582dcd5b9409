# One interface target carries the warnings that every target of ours is built with.
add_library(avoip_warnings INTERFACE)
target_compile_options(avoip_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror)
