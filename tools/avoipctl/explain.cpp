// Edid_explain: the one place where avoipctl runs another program.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

#include "avoipctl/edid.hpp"

namespace avoip::ctl {
namespace {

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A file without a name that holds `text`, at its beginning again; null on failure. Not a pipe:
/// nothing breaks when the program does not read it.
std::unique_ptr<std::FILE, FileClose> fileWith(std::string_view text) {
    std::unique_ptr<std::FILE, FileClose> file(std::tmpfile());
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fflush(file.get()) != 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) {
        return nullptr;
    }
    return file;
}

}  // namespace

std::string Edid_explain(std::string_view hex) {
    const auto input = fileWith(hex);
    if (input == nullptr) {
        return "The EDID cannot be handed to edid-decode: " +
               std::generic_category().message(errno) + ".";
    }
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ::fileno(input.get()), STDIN_FILENO);
    char program[] = "edid-decode";
    char* const arguments[] = {program, nullptr};
    pid_t child = -1;
    const int error = ::posix_spawnp(&child, program, &actions, nullptr, arguments, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        return "edid-decode cannot be run (" + std::generic_category().message(error) +
               "). Debian has it in the package edid-decode.";
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status == 0 ? "" : "edid-decode finds faults in this EDID, or could not read it.";
}

}  // namespace avoip::ctl
