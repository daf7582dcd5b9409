// A conversation with the daemon: the console says a line, the device hears datagrams and may
// reply, the daemon prints, the segment shows an answer. Every one of them is compared to the byte.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "bed/session.hpp"
#include "system/families/answers.hpp"

namespace families {

/// The daemon's host identity in the bed.
inline constexpr std::string_view kHostid = "001122aabbcc";

/// The datagram of a request to one device. `members` are the request's own, as JSON text.
std::string request(std::string_view cmd, std::string_view device, std::string_view members = "");

/// A reply that matches the request.
std::string reply(std::string_view cmd, std::string_view data);

struct Exchange {
    std::string line;
    /// The datagrams that the line causes, in order, and no others.
    std::vector<std::string> heard{};
    /// What the device says when it has heard them, one datagram each.
    std::vector<std::string> replies{};
    /// What the daemon prints behind "pBuffData LINE".
    std::string printed{};
    std::string answer{};
};

/// Fixture: a running daemon with a console and a device.
class Conversation : public testing::Test {
  protected:
    Conversation();

    /// Holds the exchange and compares all there is to compare.
    void expect(const Exchange& exchange);

    /// The same for a line that is answered with failure and sends and prints nothing.
    void expectRefused(const std::string& line, std::string_view failureName);

    /// Shows that nothing was sent or printed besides what was expected.
    void TearDown() override;

    bed::Session session_;

  private:
    /// All that the daemon is to have printed so far.
    std::string printed_;
};

}  // namespace families
