// What every command prints and answers when its request cannot be sent.
#include "system/families/conversation.hpp"

namespace {

using namespace families;

class Failures : public Conversation {
  protected:
    /// Expects every command to fail, with `printed` between what it prints itself.
    void expectEachFails(bool traced, const std::string& printed) {
        for (const Command& command : kCommands) {
            std::string text(command.printedBefore);
            if (traced) {
                text.append(command.tracedRequest);
            }
            text.append(printed).append(command.errorLine).append("\n");
            expect({.line = std::string(command.line),
                    .printed = text,
                    .answer = failure(command.failureName)});
        }
    }
};

TEST_F(Failures, every_command_fails_while_the_interface_has_no_address) {
    session_.namespaces.removeAddress();
    expectEachFails(false, "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n");
    session_.namespaces.addAddress();
}

class FailedSends : public Failures {
  protected:
    // No request leaves any more, so none can show that nothing was sent before it.
    void TearDown() override {}
};

TEST_F(FailedSends, every_command_fails_once_a_send_has_failed_and_sends_once_at_most) {
    session_.namespaces.removeMulticastRoute();
    expectEachFails(true, "pEthName(eth0.2) sendPacket err!\n");
    session_.namespaces.addMulticastRoute();
    expectEachFails(true, "pEthName(eth0.2) sendPacket err!\n");

    std::string reports = "sendto(): Network is unreachable\n";
    for (std::size_t i = 1; i < 2 * std::size(kCommands); ++i) {
        reports += "sendto(): Bad file descriptor\n";
    }
    session_.daemon.errors().awaitWhole(reports);
}

}  // namespace
