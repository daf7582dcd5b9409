// What a store is made of; for this room alone.
#pragma once

#include <mutex>
#include <string>

#include "gateway/store/store.hpp"

namespace avoip::gw {

/// One connection writes and one reads, each for one thread at a time.
struct Store {
    explicit Store(const std::string& path);

    std::mutex writing;
    Database writer;
    std::mutex reading;
    Database reader;
};

}  // namespace avoip::gw
