// avoipctl report: what is in it, and what is not.
#include "system/avoipctl_bed.hpp"
#include "system/guard_bed.hpp"

using AvoipctlReport = Guarded;

TEST_F(AvoipctlReport, says_how_the_daemon_and_its_surroundings_are_and_nothing_that_was_sent) {
    start();
    bed::Segment segment;
    bed::Console console;
    segment.ask(console, "serial send TX-0001 password!");

    bed::DaemonOptions made;
    made.program = AVOIPCTL_PATH;
    made.arguments = {"report", "--state-folder", folder};
    bed::Daemon program(made);
    EXPECT_EQ(program.awaitExit().code, 0);
    const std::string report = program.output().all();
    EXPECT_TRUE(report.starts_with("# Report on avoipd\n\n## Health\n\nok\nSince ")) << report;
    for (const char* part : {"\n## Answer segment\n\n    $ ipcs --shmems; ", "\n    0x12345678 ",
                             "inet 10.77.0.1/16", "\n## Settings\n"}) {
        EXPECT_NE(report.find(part), std::string::npos) << part << " is not in " << report;
    }
    EXPECT_EQ(report.find("password"), std::string::npos) << report;
}
