#include "bed/ip_tool.hpp"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <string>

#include "bed/wait.hpp"
#include "lib/base/descriptor.hpp"

namespace bed {

namespace {

avoip::Descriptor memoryFile(const char* name) {
    avoip::Descriptor file(::memfd_create(name, MFD_CLOEXEC));
    if (file.get() < 0) {
        throwSystemError("memfd_create");
    }
    return file;
}

std::string contents(int file) {
    std::string text;
    std::array<char, 512> piece{};
    ssize_t count = 0;
    while ((count = ::pread(file, piece.data(), piece.size(), static_cast<off_t>(text.size()))) >
           0) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
}

int spawnIp(int input, int output, pid_t& pid) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    std::string program = "ip";
    std::string batch = "-batch";
    std::string standardInput = "-";
    std::array<char*, 4> arguments{program.data(), batch.data(), standardInput.data(), nullptr};
    const int error = ::posix_spawnp(&pid, "ip", &actions, nullptr, arguments.data(), ::environ);
    ::posix_spawn_file_actions_destroy(&actions);
    return error;
}

}  // namespace

void ip(std::string_view lines) {
    const avoip::Descriptor input = memoryFile("ip-input");
    const avoip::Descriptor output = memoryFile("ip-output");
    if (::write(input.get(), lines.data(), lines.size()) != static_cast<ssize_t>(lines.size()) ||
        ::lseek(input.get(), 0, SEEK_SET) != 0) {
        throwSystemError("cannot prepare the lines for the ip tool");
    }
    pid_t pid = 0;
    const int error = spawnIp(input.get(), output.get(), pid);
    if (error != 0) {
        errno = error;
        throwSystemError("cannot run the ip tool (is iproute2 installed?)");
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0) {
        throw Error("the ip tool failed on\n" + std::string(lines) + "\nsaying\n" +
                    contents(output.get()));
    }
}

}  // namespace bed
