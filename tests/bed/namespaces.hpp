// A small network of the test's own: a controller side and a device side, joined by a cable.
//
//     controller side (network and IPC namespace)       device side (network namespace)
//     lo   eth0.2 10.77.0.1/16  <---- veth pair ---->    dev0 10.77.0.2/16   lo
//          multicast through eth0.2                      multicast through dev0
//
// The thread that makes a Namespaces object stands on the controller side from then on; threads and
// processes it starts stand there too. Root gets the namespaces as such; an ordinary user through a
// user namespace, in which it is root (this needs a process with one thread, so make the object
// before any thread). Tests in different processes never meet.
#pragma once

#include <string>
#include <utility>

#include "lib/base/descriptor.hpp"

namespace bed {

inline constexpr const char* kControlInterface = "eth0.2";
inline constexpr const char* kControlAddress = "10.77.0.1";
inline constexpr const char* kControlMac = "00:11:22:aa:bb:cc";
inline constexpr const char* kDeviceInterface = "dev0";
inline constexpr const char* kDeviceAddress = "10.77.0.2";

/// How "eth0.2" stands when the test begins. Without it there is no cable and no "dev0" either.
enum class Control { kAddressed, kWithoutAddress, kAbsent };

class Namespaces {
  public:
    /// Makes both sides and moves the calling thread to the controller side. Returns when frames
    /// pass both ways. Throws when the system does not allow it.
    explicit Namespaces(Control control = Control::kAddressed,
                        const std::string& mac = kControlMac);

    /// Moves the calling thread, which must be the one that made the object, back to where it was;
    /// an ordinary user cannot go back and stays, which does not disturb a later object.
    ~Namespaces();

    Namespaces(const Namespaces&) = delete;
    Namespaces& operator=(const Namespaces&) = delete;

    /// Runs `act` with the calling thread on the device side and returns its result. Sockets,
    /// threads and processes made in it stay on the device side.
    template <class Act>
    decltype(auto) onDeviceSide(Act&& act) const {
        const Visit visit(deviceSide_.get(), controllerSide_.get());
        return std::forward<Act>(act)();
    }

    /// Makes the cable: "eth0.2", with its address and multicast route if `addressed`, and "dev0".
    /// For a test that began with Control::kAbsent.
    void addControlInterface(bool addressed = true, const std::string& mac = kControlMac);

    /// Gives "eth0.2" its address, and with it its routes, back.
    void addAddress();
    /// Takes the address of "eth0.2" away; the system takes its routes with it.
    void removeAddress();

    void addMulticastRoute();
    /// Without the route the controller side has no way to the group: a send there fails.
    void removeMulticastRoute();

    /// Sets "eth0.2" up and adds its multicast route again; returns when frames pass both ways.
    void linkUp();
    /// Sets "eth0.2" down; the system takes its routes, but not its address.
    void linkDown();

  private:
    // Stands in one network namespace and goes to another when it ends.
    class Visit {
      public:
        Visit(int there, int back);
        ~Visit();
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

      private:
        int back_;
    };

    void awaitFrames() const;

    avoip::Descriptor originalNetwork_;
    avoip::Descriptor originalIpc_;
    avoip::Descriptor deviceSide_;
    avoip::Descriptor controllerSide_;
};

}  // namespace bed
