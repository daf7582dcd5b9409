#include "bed/daemon.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "bed/wait.hpp"

namespace bed {

namespace {

struct Pipe {
    avoip::Descriptor readEnd;
    avoip::Descriptor writeEnd;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throwSystemError("pipe");
    }
    return {avoip::Descriptor(ends[0]), avoip::Descriptor(ends[1])};
}

/// Pointers for execve into texts that live elsewhere.
std::vector<char*> pointersInto(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    std::ranges::transform(texts, std::back_inserter(pointers),
                           [](auto& text) { return text.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

/// The given variables and, of the test's own, those they do not replace.
std::vector<std::string> mergedEnvironment(std::vector<std::string> given) {
    const std::size_t count = given.size();
    for (char** variable = ::environ; *variable != nullptr; ++variable) {
        const std::string_view own = *variable;
        const std::string_view nameAndSign = own.substr(0, own.find('=') + 1);
        const auto end = given.begin() + static_cast<std::ptrdiff_t>(count);
        if (std::none_of(given.begin(), end,
                         [&](const auto& text) { return text.starts_with(nameAndSign); })) {
            given.emplace_back(own);
        }
    }
    return given;
}

// Everything the child needs, made before the fork: behind it only plain system calls are safe.
struct Start {
    explicit Start(const DaemonOptions& options)
        : argumentTexts{options.program.empty() ? AVOIPD_PATH : options.program},
          limits(options.limits),
          firstDescriptor(options.firstDescriptor),
          closed(options.closed),
          ownSession(options.ownSession),
          terminal(options.terminal) {
        argumentTexts.insert(argumentTexts.end(), options.arguments.begin(),
                             options.arguments.end());
        environmentTexts = mergedEnvironment(options.environment);
        arguments = pointersInto(argumentTexts);
        environment = pointersInto(environmentTexts);
    }

    std::vector<std::string> argumentTexts;
    std::vector<std::string> environmentTexts;
    std::vector<char*> arguments;
    std::vector<char*> environment;
    std::vector<std::pair<int, rlim_t>> limits;
    int firstDescriptor;
    std::vector<int> closed;
    bool ownSession;
    int terminal;
    int standardOutput = -1;
    int standardError = -1;
    pid_t parent = ::getpid();
};

[[noreturn]] void failInChild(const char* what) {
    // perror is not safe here in theory; in a child that is lost anyway, a reason is worth more.
    std::perror(what);
    ::_exit(127);
}

void takeDescriptorsBelow(int first) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur =
        std::max(limit.rlim_cur, std::min<rlim_t>(limit.rlim_max, 2 * static_cast<rlim_t>(first)));
    ::setrlimit(RLIMIT_NOFILE, &limit);
    while (true) {
        const int taken = ::open("/dev/null", O_RDONLY);
        if (taken < 0) {
            failInChild("cannot take the descriptors below the first one asked for");
        }
        if (taken >= first) {
            ::close(taken);
            return;
        }
    }
}

/// Whoever runs the tests may ignore some: a shell does so for what it runs in the background.
void takeSignalsByDefault() {
    for (int number = 1; number < SIGRTMIN; ++number) {
        ::signal(number, SIG_DFL);
    }
    sigset_t none{};
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// In a group of its own in any case, so that whatever it starts can be ended with it.
void enterSession(const Start& start) {
    if (!start.ownSession) {
        ::setpgid(0, 0);
    } else if (::setsid() < 0 ||
               (start.terminal >= 0 && ::ioctl(start.terminal, TIOCSCTTY, 0) != 0)) {
        failInChild("cannot give the program a session and a terminal");
    }
}

[[noreturn]] void runChild(const Start& start) {
    enterSession(start);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != start.parent) {
        ::_exit(127);
    }
    takeSignalsByDefault();
    ::dup2(start.standardOutput, STDOUT_FILENO);
    ::dup2(start.standardError, STDERR_FILENO);
    ::close(STDIN_FILENO);
    const int input = start.terminal >= 0 ? ::dup(start.terminal) : ::open("/dev/null", O_RDONLY);
    if (input != STDIN_FILENO) {
        ::_exit(127);
    }
    ::close_range(3, ~0U, 0);
    if (start.firstDescriptor > 3) {
        takeDescriptorsBelow(start.firstDescriptor);
    }
    for (const auto& [resource, value] : start.limits) {
        const rlimit limit{value, value};
        if (::setrlimit(static_cast<__rlimit_resource>(resource), &limit) != 0) {
            failInChild("setrlimit");
        }
    }
    for (const int descriptor : start.closed) {
        ::close(descriptor);
    }
    ::execve(start.arguments.front(), start.arguments.data(), start.environment.data());
    failInChild(start.arguments.front());
}

/// Moves what can be read at once into the stream; false at the end of the program's output.
bool moveInto(Stream& stream, int source) {
    std::array<char, 65536> piece;
    const ssize_t count = ::read(source, piece.data(), piece.size());
    if (count > 0) {
        stream.append({piece.data(), static_cast<std::size_t>(count)});
        return true;
    }
    return count < 0 && errno == EINTR;
}

void readBoth(int outputEnd, Stream& output, int errorEnd, Stream& errors) {
    std::array<pollfd, 2> ends{pollfd{outputEnd, POLLIN, 0}, pollfd{errorEnd, POLLIN, 0}};
    const std::array<Stream*, 2> streams{&output, &errors};
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        if (::poll(ends.data(), ends.size(), -1) < 0) {
            continue;
        }
        for (std::size_t i = 0; i < ends.size(); ++i) {
            if (ends[i].fd >= 0 && ends[i].revents != 0 && !moveInto(*streams[i], ends[i].fd)) {
                ends[i].fd = -1;
                streams[i]->end();
            }
        }
    }
}

/// The number behind "name:" in one of the files of /proc.
std::size_t numberIn(const std::string& path, const std::string& name) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with(name + ":")) {
            return std::stoul(line.substr(name.size() + 1));
        }
    }
    throw Error("no " + name + " in " + path);
}

void show(const char* name, const Stream& stream) {
    std::cerr << "---- " << name << " of the program:\n" << stream.all() << "\n----\n";
}

}  // namespace

Daemon::Daemon(const DaemonOptions& options) {
    Start start(options);
    Pipe output = makePipe();
    Pipe errors = makePipe();
    start.standardOutput =
        options.standardOutput >= 0 ? options.standardOutput : output.writeEnd.get();
    start.standardError = errors.writeEnd.get();
    pid_ = ::fork();
    if (pid_ == 0) {
        runChild(start);
    }
    if (pid_ < 0) {
        throwSystemError("cannot start " + start.argumentTexts.front());
    }
    // The C library's own wrapper cannot be linked from C++ in every version.
    process_ = avoip::Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
    reader_ =
        std::jthread([this, out = std::move(output.readEnd), err = std::move(errors.readEnd)] {
            readBoth(out.get(), output_, err.get(), errors_);
        });
}

Daemon::~Daemon() {
    // The group first: a child of the program would keep its output open. Its number cannot have
    // been given away yet, since the program has not been waited for, or its group is empty.
    ::kill(-pid_, SIGKILL);
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    reader_.join();
    if (testing::Test::HasFailure() || std::uncaught_exceptions() > 0) {
        show("standard output", output_);
        show("standard error", errors_);
    }
}

bool Daemon::isRunning() const {
    return !awaitReadable(process_.get(), std::chrono::milliseconds(0));
}

std::map<int, std::string> Daemon::descriptors() const {
    std::map<int, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(processPath("fd"))) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!gone) {
            found.emplace(std::stoi(entry.path().filename()), target);
        }
    }
    return found;
}

avoip::Descriptor Daemon::borrow(int number) const {
    avoip::Descriptor borrowed(
        static_cast<int>(::syscall(SYS_pidfd_getfd, process_.get(), number, 0)));
    if (borrowed.get() < 0) {
        throwSystemError("cannot borrow descriptor " + std::to_string(number));
    }
    return borrowed;
}

std::size_t Daemon::resident_kib() const {
    return numberIn(processPath("smaps_rollup"), "Rss");
}

std::size_t Daemon::threadCount() const {
    return statusNumber("Threads");
}

std::size_t Daemon::statusNumber(const std::string& name) const {
    return numberIn(processPath("status"), name);
}

bool Daemon::hasControllingTerminal() const {
    std::ifstream file(processPath("stat"));
    std::string text;
    std::getline(file, text);
    // The fifth field behind the name, which may hold blanks.
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string field;
    for (int i = 0; i < 5; ++i) {
        fields >> field;
    }
    return field != "0";
}

Exit Daemon::stop(int signal) {
    ::kill(pid_, signal);
    return awaitExit();
}

Exit Daemon::awaitExit() {
    if (!awaitReadable(process_.get())) {
        throw Error("the program does not end");
    }
    output_.awaitEnd();
    errors_.awaitEnd();
    // It is left to be waited for by the destructor, so that its number stays its own until then.
    siginfo_t status{};
    if (::waitid(P_PID, static_cast<id_t>(pid_), &status, WEXITED | WNOWAIT) != 0) {
        throwSystemError("waitid");
    }
    return {status.si_code != CLD_EXITED, status.si_status};
}

std::string Daemon::processPath(const char* name) const {
    return "/proc/" + std::to_string(pid_) + "/" + name;
}

}  // namespace bed
