#include "json_allocations.hpp"

#include <cjson/cJSON.h>

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<int> blocks = 0;

void* allocate(std::size_t size) {
    ++blocks;
    return std::malloc(size);
}

void release(void* block) {
    if (block != nullptr) {
        --blocks;
    }
    std::free(block);
}

}  // namespace

JsonAllocations::JsonAllocations() {
    blocks = 0;
    cJSON_Hooks hooks{.malloc_fn = allocate, .free_fn = release};
    cJSON_InitHooks(&hooks);
}

JsonAllocations::~JsonAllocations() {
    cJSON_InitHooks(nullptr);
}

int JsonAllocations::outstanding() const {
    return blocks;
}
