#include "avoipguard/does/child.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "avoipguard/sees/process.hpp"

namespace avoip::guard {

namespace {

struct Pipe {
    Descriptor readEnd;
    Descriptor writeEnd;
};

Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
    // Without a pipe both are closed, and what needs one fails.
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// What a service manager says to this process alone.
bool isForThisProcess(std::string_view variable) {
    constexpr std::array<std::string_view, 3> kNames{
        "NOTIFY_SOCKET=", "WATCHDOG_USEC=", "WATCHDOG_PID="};
    return std::ranges::any_of(kNames,
                               [&](std::string_view name) { return variable.starts_with(name); });
}

std::vector<char*> environmentOfChild() {
    std::vector<char*> variables;
    for (char** variable = ::environ; *variable != nullptr; ++variable) {
        if (!isForThisProcess(*variable)) {
            variables.push_back(*variable);
        }
    }
    variables.push_back(nullptr);
    return variables;
}

/// What the child needs, made before the fork: behind it only plain system calls are safe.
struct Start {
    std::array<char*, 2> arguments;
    std::vector<char*> environment;
    pid_t parent;
    int input;
    int output;
    int errors;
    int failure;
};

[[noreturn]] void runChild(const Start& start) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != start.parent) {
        ::_exit(1);
    }
    ::dup2(start.input, STDIN_FILENO);
    ::dup2(start.output, STDOUT_FILENO);
    ::dup2(start.errors, STDERR_FILENO);
    // The daemon finds the signals as a program finds them that is started by hand.
    for (const int signal : {SIGHUP, SIGPIPE}) {
        ::signal(signal, SIG_DFL);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execve(start.arguments[0], start.arguments.data(), start.environment.data());
    const int error = errno;
    [[maybe_unused]] const ssize_t told = ::write(start.failure, &error, sizeof error);
    ::_exit(1);
}

/// The error that kept the child from running the program; 0 when it runs it. The end of the pipe
/// that the child has is closed when the program begins.
int errorOf(const Pipe& failure) {
    int error = 0;
    ssize_t count = 0;
    do {
        count = ::read(failure.readEnd.get(), &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    return count == sizeof error ? error : 0;
}

}  // namespace

Child Child_start(const std::string& program, std::string& problem) {
    Pipe output = makePipe();
    Pipe errors = makePipe();
    Pipe failure = makePipe();
    const Descriptor input(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    std::string path = program;
    const Start start{{path.data(), nullptr},
                      environmentOfChild(),
                      ::getpid(),
                      input.get(),
                      output.writeEnd.get(),
                      errors.writeEnd.get(),
                      failure.writeEnd.get()};
    // A copy of this process is made for an instant only; it has no other threads.
    const pid_t pid = ::fork();
    if (pid == 0) {
        runChild(start);
    }
    if (pid < 0) {
        problem = "There is no process for avoipd (" + std::string(std::strerror(errno)) + ").";
        return {};
    }
    failure.writeEnd.reset();
    if (const int error = errorOf(failure); error != 0) {
        problem = program + " cannot be run (" + std::strerror(error) +
                  "). Correct --daemon, or install it.";
        // The child is waited for like one that has run.
        return {};
    }
    for (const Pipe* pipe : {&output, &errors}) {
        ::fcntl(pipe->readEnd.get(), F_SETFL, O_NONBLOCK);
    }
    return {pid, std::move(output.readEnd), std::move(errors.readEnd)};
}

void Child_endPrecedence(pid_t pid) {
    // Each thread has its own, from the one that began it. The second time is for those that began
    // meanwhile.
    for (int i = 0; i < 2; ++i) {
        for (const pid_t thread : Process_threads(pid)) {
            const auto number = static_cast<id_t>(thread);
            if (::getpriority(PRIO_PROCESS, number) < 0) {
                ::setpriority(PRIO_PROCESS, number, 0);
            }
        }
    }
}

void Child_kill(pid_t pid, int listener) {
    const Descriptor process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    // Refused where this process may not look into others at all; then nothing but time is lost.
    const Descriptor socket(
        listener < 0 ? -1
                     : static_cast<int>(::syscall(SYS_pidfd_getfd, process.get(), listener, 0)));
    ::kill(pid, SIGKILL);
    ::shutdown(socket.get(), SHUT_RDWR);
}

std::string Child_endText(const siginfo_t& end) {
    const std::string number = std::to_string(end.si_status);
    return end.si_code == CLD_EXITED
               ? "avoipd has ended with status " + number + "."
               : "avoipd has ended by signal " + number + " (" + ::strsignal(end.si_status) + ").";
}

}  // namespace avoip::guard
