// What every command prints and answers when its request cannot be sent.
#include <algorithm>

#include "bed/transcript.hpp"
#include "system/families/conversation.hpp"

namespace {

using namespace families;

class Failures : public Conversation {
  protected:
    /// Expects every line of the sessions to fail for this reason.
    void expectEachFails(const std::string& reason, bool traced) {
        for (const bed::Recorded& unsent : bed::allRecords("unsent/")) {
            const bed::Recorded failed = bed::failedBy(unsent, reason, traced);
            expect({.line = failed.line,
                    .printed = bed::printedBehind(failed),
                    .answer = failed.answer});
        }
    }
};

TEST_F(Failures, every_command_fails_while_the_interface_has_no_address) {
    session_.namespaces.removeAddress();
    expectEachFails("SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!", false);
    session_.namespaces.addAddress();
}

/// How many of the lines are such that something is to be sent: the others are refused before.
std::size_t requestsIn(const std::vector<bed::Recorded>& records) {
    return static_cast<std::size_t>(std::ranges::count_if(records, [](const auto& record) {
        return std::ranges::count(record.printed, bed::kSendFailed) > 0;
    }));
}

class FailedSends : public Failures {
  protected:
    // No request leaves any more, so none can show that nothing was sent before it.
    void TearDown() override {}
};

TEST_F(FailedSends, every_command_fails_once_a_send_has_failed_and_sends_once_at_most) {
    session_.namespaces.removeMulticastRoute();
    expectEachFails(bed::kSendFailed, true);
    session_.namespaces.addMulticastRoute();
    expectEachFails(bed::kSendFailed, true);

    const std::size_t refused = 2 * requestsIn(bed::allRecords("unsent/"));
    std::string reports = "sendto(): Network is unreachable\n";
    for (std::size_t i = 1; i < refused; ++i) {
        reports += "sendto(): Bad file descriptor\n";
    }
    session_.daemon.errors().awaitWhole(reports);
}

}  // namespace
