// The devices' end of the cable, beside the devices: when requests came there.
#pragma once

#include <string_view>

#include "bed/namespaces.hpp"
#include "lib/base/descriptor.hpp"

namespace bench {

class Wire {
  public:
    /// Hears what comes from now on; some hundred requests wait for their reader.
    explicit Wire(const bed::Namespaces& namespaces);

    /// When the next request with this text came, on the clock of wallClock_us(); takes it away,
    /// and those before it.
    double awaitArrival_us(std::string_view text) const;

  private:
    avoip::Descriptor socket_;
};

}  // namespace bench
