// A model of the daemon and its devices, as far as reading goes: replies take their time, arrive in
// the daemon's one socket, and are taken out of it by whoever reads next, as the daemon does it.
// Time is made up. One reply, or several, can be given a fault.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "lib/client/reading.hpp"

namespace model {

enum class Fault {
    kLate,     ///< the reply comes after the daemon's time-out
    kDoubled,  ///< it comes twice, the second time at once or later
    kLost,     ///< it does not come
    kForeign   ///< beside it comes one that nobody has asked for
};

/// A device. `said` is what it says to certain commands, by their console texts, instead of a text
/// that tells device, command and version.
struct Device {
    std::string identity;
    std::string type;
    std::string mac;
    double latency_s = 0.001;
    int version = 0;  ///< of everything that it says; changes with each change
    bool silent = false;
    std::map<std::string, std::string, std::less<>> said = {};
};

/// What a reply says, and when it stands in the daemon's socket.
struct Reply {
    double arrives_s = 0;
    std::string text;      ///< the console text of the command whose "cmd" it carries
    bool refused = false;  ///< for another controller, or not "success"
    bool garbage = false;  ///< no JSON
    std::string device;
    std::string mac;
    std::string value;
};

class Daemon {
  public:
    explicit Daemon(std::uint64_t seed) : random_(seed) {}

    /// What the device says when it is asked with this command.
    static std::string valueOf(const Device& device, const avoip::Command& command);

    Device& find(std::string_view identity);

    /// For a reader to ask.
    avoip::Reply ask(const avoip::Request& request);

    double fraction() { return std::uniform_real_distribution<double>(0, 1)(random_); }
    std::size_t below(std::size_t bound) {
        return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_);
    }
    void pass(double seconds) { now_s_ += seconds; }
    double now_s() const { return now_s_; }
    /// Lets a reply of the device to this command arrive later, as if it had been asked now.
    void sendStray(const avoip::Command& command, const Device& device, double later_s);

    std::vector<Device> devices;
    /// By the number of the reply, counted from 0 over all that were ever sent.
    std::map<std::size_t, Fault> faults;
    std::size_t replies = 0;
    std::vector<std::string> asked;

  private:
    void arrive(Reply reply) { socket_.emplace(reply.arrives_s, std::move(reply)); }
    void send(const avoip::Command& command, Device& device);
    void sendForeign(const avoip::Command& command, const Device& device, double arrives_s);
    /// The next reply within the time; nothing when there is none, and then the time has passed.
    bool receive(double within_s, Reply& reply);
    avoip::Reply list(const avoip::Request& request);
    avoip::Reply read(const avoip::Request& request);

    std::mt19937_64 random_;
    double now_s_ = 0;
    std::multimap<double, Reply> socket_;
    std::map<std::string, double> lastArrival_s_;
};

}  // namespace model
