// What goes over the cable of the bed in the device protocol, both ways, in its order.
#pragma once

#include <cstdint>
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

    /// From now on listens to datagrams for this port alone. The rest, such as uploads, does not
    /// fill the room for what has not been taken yet.
    void keepOnly(std::uint16_t port);

    /// Makes room for so many bytes that have not been taken yet, as the system counts them; for as
    /// many as an ordinary user may have, where it is one.
    void makeRoom(int bytes);

    /// Everything that has passed since the last call. What the daemon sent or received before it
    /// did something that the caller has seen is always in it.
    std::vector<CableDatagram> take();

  private:
    avoip::Descriptor socket_;
};

}  // namespace bed
