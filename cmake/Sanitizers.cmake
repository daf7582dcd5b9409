# AVOIP_SANITIZE applies to everything that is built, so that no object is left unwatched.
if(AVOIP_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(AVOIP_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT AVOIP_SANITIZE STREQUAL "")
    message(FATAL_ERROR "AVOIP_SANITIZE must be empty, 'address' or 'thread'")
endif()

# libFuzzer sees which way an input goes by what the compiler puts into all objects.
if(AVOIP_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "AVOIP_FUZZ needs clang; configure with: cmake --preset fuzz")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
