// The catalogue against what was recorded: no command goes without a session, and none is answered
// otherwise than the catalogue says.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "bed/transcript.hpp"
#include "lib/catalogue/catalogue.hpp"
#include "lib/client/answer.hpp"

namespace avoip {
namespace {

bool isFailure(const bed::Recorded& record) {
    return record.answer.ends_with(R"("status":"failure"}})");
}

TEST(RecordedCommands, include_every_command_of_the_catalogue_with_a_success) {
    std::set<const Command*> succeeded;
    for (const bed::Recorded& record : bed::allRecords()) {
        const Command* const command = Catalogue_findText(record.line);
        if (!isFailure(record)) {
            ASSERT_NE(command, nullptr) << record.line;
            EXPECT_EQ(Answer_problem(record.answer, *command), "") << bed::textOf(record);
            succeeded.insert(command);
        }
    }
    for (const Command& command : Catalogue_commands()) {
        EXPECT_TRUE(succeeded.contains(&command))
            << command.text << " has no session; write its line into a file of tests/transcripts, "
            << "and run scripts/transcripts";
    }
}

TEST(RecordedCommands, fail_under_the_names_of_the_catalogue) {
    for (const bed::Recorded& unsent : bed::allRecords("unsent/")) {
        if (std::ranges::count(unsent.printed, bed::kSendFailed) > 0) {
            const Command* const command = Catalogue_findText(unsent.line);
            ASSERT_NE(command, nullptr) << unsent.line;
            EXPECT_EQ(unsent.answer, R"({"ack":{"cmd":")" +
                                         std::string(Catalogue_failureName(*command)) +
                                         R"(","status":"failure"}})");
        }
    }
}

}  // namespace
}  // namespace avoip
