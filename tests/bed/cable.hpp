// What goes over the cable of the bed in the device protocol, both ways, in its order.
#pragma once

#include <string>
#include <vector>

#include "lib/base/descriptor.hpp"

namespace bed {

struct CableDatagram {
    /// From the daemon to the devices, not the other way.
    bool outward = false;
    /// The sender's address.
    std::string address;
    std::string text;
};

class Cable {
  public:
    /// Listens on "eth0.2" of the calling thread's network namespace from now on.
    Cable();

    /// From now on listens to what leaves for the devices alone. The rest, replies and uploads,
    /// does not fill the room for what has not been taken yet.
    void keepRequestsOnly();

    /// Everything that has passed since the last call. What the daemon sent or received before it
    /// did something that the caller has seen is always in it.
    std::vector<CableDatagram> take();

  private:
    avoip::Descriptor socket_;
};

}  // namespace bed
