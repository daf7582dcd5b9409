#include "system/families/conversation.hpp"

namespace {

using namespace families;
using Maintenance = Conversation;

/// A command that sends a request of its own name to the device of its argument.
Exchange order(const std::string& cmd, const std::string& argument, const std::string& device) {
    return {.line = cmd + argument,
            .heard = {request(cmd, device)},
            // Only this one shows its request.
            .printed = cmd == "device factory" ? request(cmd, device) + "\n" : "",
            .answer = success(cmd)};
}

constexpr const char* kOrders[] = {"device showme", "device reboot", "device factory"};

TEST_F(Maintenance, an_order_goes_to_one_device) {
    for (const char* cmd : kOrders) {
        expect(order(cmd, " RX-01!", "RX-01"));
    }
}

TEST_F(Maintenance, the_identity_is_the_rest_of_the_line_behind_the_very_words) {
    for (const char* cmd : kOrders) {
        expect(order(cmd, "  RX 01 !", "RX 01 "));
        expect(order(cmd, "RX-01!", "RX-01"));
        expect(order(cmd, " !", ""));
        expect(order(cmd, "!", ""));
    }
}

TEST_F(Maintenance, a_long_identity_is_cut) {
    for (const char* cmd : kOrders) {
        expect(order(cmd, " " + std::string(40, 'R') + "!", std::string(31, 'R')));
    }
}

TEST_F(Maintenance, an_identity_is_read_as_a_pattern) {
    for (const char* cmd : kOrders) {
        expect(order(cmd, " R%%%s%x%!", "R%"));
    }
}

TEST_F(Maintenance, all_devices_reboot_at_once) {
    for (const char* line : {"device all reboot!", "device all reboots RX-01!"}) {
        expect({.line = line,
                .heard = {request("device reboot", "All")},
                .answer = success("device all reboot")});
    }
}

}  // namespace
