// What most system tests begin with: the whole bed, with the daemon running and a console open.
//
//     bed::Session session;
//     session.segment.clear();
//     session.console.send("matrix get rx01!");
//     EXPECT_EQ(session.device.receive().text, ...);
//     session.device.reply(bed::replyText(...));
//     EXPECT_EQ(session.segment.awaitAnswer(), ...);
#pragma once

#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/device.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"

namespace bed {

struct Session {
    explicit Session(const DaemonOptions& options = {}) : daemon(options) {}

    Namespaces namespaces;
    Device device{namespaces};
    Daemon daemon;
    Console console;
    Segment segment;
};

}  // namespace bed
