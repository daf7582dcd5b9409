// The devices' side of a load figure: hears every request of the one-way commands of bed.hpp
// and counts each by its text, on a thread of its own and with a queue that keeps up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bed/namespaces.hpp"
#include "lib/base/descriptor.hpp"
#include "load/load.hpp"

namespace load {

class Ear {
  public:
    /// Listens from now on for the requests numbered from 0 to `commands` - 1.
    Ear(const bed::Namespaces& namespaces, std::size_t commands);

    /// Hears to the end of what comes, which a second of silence shows, and says what was lost:
    /// requests that never came, came more than once, or were no such requests. Empty for nothing.
    /// Of the requests `sent` may be all that were sent, from the first one on.
    std::string finish(std::size_t sent = kCommandsMax);

  private:
    void listen(const std::stop_token& finishing);
    void take(std::string_view text);

    avoip::Descriptor socket_;
    std::vector<std::uint8_t> heard_;
    std::size_t strangers_ = 0;
    std::jthread listener_;
};

}  // namespace load
