#include "soak/report.hpp"

#include <cstdio>

namespace soak {

namespace {

struct Row {
    const char* what;
    const char* came;
};

constexpr const char* kNothing = "no answer, no request; the others were answered";
constexpr const char* kAnsweredOnce = "answered once, each";
constexpr const char* kOnceCarriedOut = "every line carried out once";

/// In the order of Fault.
constexpr std::array<Row, static_cast<std::size_t>(Fault::kCount)> kRows{{
    {"a connection that leaves at once", kNothing},
    {"a connection that is reset at once", kNothing},
    {"half a line, then the end", kNothing},
    {"half a line, then a reset", kNothing},
    {"bytes 0 to 255 without a `!`, then the end or a reset", kNothing},
    {"a line with `exit`", "connection ended; what stood behind it was not read"},
    {"a line that comes a few bytes at a time", kAnsweredOnce},
    {"a line that comes so and is left unfinished", kNothing},
    {"a line of more than 4,095 bytes", "cut into lines, each answered in its order"},
    {"a front end that comes, asks and goes", kAnsweredOnce},
    {"a connection of a crowd that goes behind its commands", kOnceCarriedOut},
    {"a connection of a crowd that is reset behind its commands", "no line carried out twice"},
    {"bytes 0 to 255 and a `!`, in a crowd", kOnceCarriedOut},
    {"a line of more than 4,095 bytes, in a crowd", kOnceCarriedOut},
    {"the control interface lost its address", "commands failed; worked again afterwards"},
    {"the control interface was set down", "commands failed; worked again afterwards"},
    {"the address went while a command waited", "it failed in time; worked again afterwards"},
    {"an upload whose device stops to read", "failed after 5 s; the others were answered"},
    {"an upload without a fault", kAnsweredOnce},
    {"an image without its magic", "answered once; its file is left open (image-left-open)"},
    {"an image for decoders, to an encoder",
     "answered once; its file is left open (image-left-open)"},
}};

using Count = unsigned long long;

void printRow(const char* what, Count number, const char* rest = "") {
    std::printf("| %s | %llu%s |\n", what, number, rest);
}

}  // namespace

void Report::notKept(const std::string& what) {
    ++findings_;
    std::fprintf(stderr, "not kept (phase %llu): %s\n", static_cast<Count>(counts.phases + 1),
                 what.c_str());
}

void Report::printFaults(const DeviceFaults& devices) const {
    std::printf("\n| fault | times | what came of it |\n|---|---:|---|\n");
    for (std::size_t i = 0; i < kRows.size(); ++i) {
        std::printf("| %s | %llu | %s |\n", kRows[i].what, static_cast<Count>(injected_[i]),
                    kRows[i].came);
    }
    for (const auto& [name, times] : devices) {
        std::printf("| a device's fault: %s | %llu | every command answered once |\n", name,
                    static_cast<Count>(times));
    }
}

void Report::printNumbers(const Numbers& numbers) const {
    std::printf("\n| what | number |\n|---|---:|\n");
    std::printf("| seconds | %.0f |\n", numbers.seconds);
    std::printf("| of them processor time: daemon, fleet and soak | %.0f |\n", numbers.cpu_s);
    printRow("phases", counts.phases);
    printRow("commands of front ends that take turns", counts.asked);
    printRow("right answers, one for each", counts.answered);
    printRow("of them with data, compared with the replies on the cable", counts.withData);
    printRow("of these with the data of an older reply", counts.stale);
    printRow("answers of uploads and others that overwrote each other (one-answer)",
             counts.overwritten);
    printRow("lines of crowds", counts.lines);
    printRow("one-way commands", counts.oneWay);
    printRow("datagrams that they must send", counts.oneWayRequests);
    printRow("datagrams that left, of all commands", numbers.datagrams.sent);
    printRow("datagrams heard on the cable", numbers.heard);
    printRow("replies that the daemon read", numbers.datagrams.received);
    printRow("replies that found no room", numbers.datagrams.lost);
    printRow("replies that were not released (parser-leak)", numbers.repliesLeft);
    printRow("connections ended (connection-leaks)", counts.connections);
    printRow("commands failed without an address, a descriptor each (address-query-leak)",
             counts.failedByAddress);
    std::printf("| resident memory: start, end, explained at most | %zu, %zu, %zu KiB |\n",
                numbers.start.resident_kib, numbers.end.resident_kib,
                numbers.residentExplained_kib);
    std::printf("| descriptors: start, end, explained | %zu, %zu, %zu |\n",
                numbers.start.descriptors, numbers.end.descriptors, numbers.descriptorsExplained);
    std::printf("| threads: start, end | %zu, %zu |\n", numbers.start.threads, numbers.end.threads);
    std::printf("| daemon alive | %s |\n", numbers.alive ? "yes" : "no");
    printRow("promises not kept", findings_);
}

}  // namespace soak
