#include "avoipctl/report.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <ostream>

#include "avoipctl/supervision.hpp"
#include "lib/base/printable.hpp"

namespace avoip::ctl {

namespace {

/// So much is shown of what one question gives.
constexpr std::size_t kLongestBytes = 64 * std::size_t{1024};

struct Question {
    const char* title;
    const char* command;
};

constexpr Question kQuestions[] = {
    {"System", "uname -srm; grep PRETTY_NAME /etc/os-release; uptime; nproc; free -m"},
    {"Packages",
     "dpkg-query --showformat '${Package} ${Version} ${Architecture}\\n' --show '*avoip*'"},
    {"Unit",
     "systemctl show avoip.service --property "
     "ActiveState,SubState,NRestarts,ActiveEnterTimestamp,MemoryCurrent,DropInPaths"},
    {"Control interface", "ip -details address show dev eth0.2; ip route get 239.255.255.250"},
    {"Ports", "ss --numeric --listening --tcp --udp --extended | grep -E ':(6888|8003)'"},
    {"Connections", "ss --numeric --tcp 'sport = :6888 or dport = :5888'"},
    {"Datagrams", "grep ^Udp: /proc/net/snmp"},
    {"Answer segment", "ipcs --shmems; ls -l /run/avoip"},
    {"Daemon",
     "for process in $(pidof avoipd); do "
     "grep -E '^(Uid|VmSize|VmRSS|VmData|Threads)' /proc/$process/status; "
     "cat /proc/$process/limits; "
     "echo mappings: $(wc -l </proc/$process/maps); "
     "echo descriptors: $(ls /proc/$process/fd | wc -l); done"},
    {"Settings",
     "sysctl vm.max_map_count net.core.rmem_max kernel.shmmax kernel.shmall "
     "net.ipv4.ip_unprivileged_port_start"},
    {"What avoipguard said last",
     "journalctl --unit avoip.service --no-pager --output short-iso "
     "--lines 10000 | grep -F 'avoipguard: ' | tail --lines 300"},
};

struct Close {
    void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

/// What a shell prints for the command, on both outputs.
std::string askShell(const std::string& command) {
    const std::unique_ptr<std::FILE, Close> pipe(
        ::popen(("exec 2>&1 </dev/null; " + command).c_str(), "re"));
    if (pipe == nullptr) {
        return "no shell\n";
    }
    std::string text;
    std::array<char, 4096> piece{};
    std::size_t count = 0;
    while ((count = std::fread(piece.data(), 1, piece.size(), pipe.get())) > 0) {
        text.append(piece.data(), count);
    }
    if (text.size() > kLongestBytes) {
        text.erase(0, text.size() - kLongestBytes);
    }
    return text;
}

void show(std::ostream& out, const Question& question) {
    out << "\n## " << question.title << "\n\n    $ " << question.command << '\n';
    std::string text = askShell(question.command);
    std::ranges::replace(text, '\t', ' ');
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        out << "    " << Printable_text(text.substr(begin, end - begin)) << '\n';
        begin = end + 1;
    }
}

}  // namespace

Status Report_show(Session& session, const std::string& stateFolder) {
    session.out << "# Report on avoipd\n\n## Health\n\n";
    Supervision_show(session, stateFolder);
    for (const Question& question : kQuestions) {
        show(session.out, question);
        session.out.flush();
    }
    return kSuccess;
}

}  // namespace avoip::ctl
