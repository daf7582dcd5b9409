#include "base/unreleased.hpp"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

void Unreleased_keep([[maybe_unused]] void* memory) {
#if defined(__SANITIZE_ADDRESS__)
    __lsan_ignore_object(memory);
#endif
}
