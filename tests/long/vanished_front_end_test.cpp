// Front ends that are gone without a word, as when their cable was pulled or their power failed.
#include <gtest/gtest.h>

#include <chrono>

#include "bed/ip_tool.hpp"
#include "bed/session.hpp"

namespace {

using namespace std::chrono_literals;

TEST(VanishedFrontEnd, gives_its_descriptor_back_within_three_minutes) {
    bed::Session session;
    session.segment.ask(session.console, "hello!");
    const std::size_t before = session.daemon.descriptors().size();
    const std::size_t threadsBefore = session.daemon.threadCount();
    const auto comeFromAfar = [&] {
        return session.namespaces.onDeviceSide(
            [] { return bed::Console(bed::kConsolePort, bed::kControlAddress); });
    };
    bed::Console silent = comeFromAfar();
    session.segment.ask(silent, "hello!");
    bed::Console speaking = comeFromAfar();
    session.segment.ask(speaking, "hello!");
    speaking.send("half a li");
    EXPECT_EQ(session.daemon.descriptors().size(), before + 2);

    const auto begin = std::chrono::steady_clock::now();
    session.namespaces.onDeviceSide([] { bed::ip("link set dev0 down"); });
    bed::awaitCondition(
        "the descriptors of the front ends",
        [&] { return session.daemon.descriptors().size() == before; }, 180s);
    // It was no mere sign of the cable that ended them.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 100s);
    bed::awaitCondition("the end of their threads",
                        [&] { return session.daemon.threadCount() == threadsBefore; });
    // This one has been as silent, but its system answers for it.
    session.segment.ask(session.console, "hello again!");
}

}  // namespace
