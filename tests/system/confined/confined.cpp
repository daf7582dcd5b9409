// Starts a program as a service manager would on a device: as an ordinary user without capabilities
// and with no other system calls than those of a list. Any other call kills it.
//
//     confined LIST PROGRAM
//
// The call that starts the program is let through beside the list. Ends with 1, and says why, when
// it cannot start it.
#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <span>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr unsigned kNobody = 65534;

[[noreturn]] void fail(const std::string& what) {
    std::perror(("confined: " + what).c_str());
    std::exit(1);
}

/// The names in a list: one on a line, without what stands behind a "#".
std::vector<std::string> readNames(const char* path) {
    std::ifstream file(path);
    if (!file) {
        fail(std::string("cannot read ") + path);
    }
    std::vector<std::string> names;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        for (std::string name; words >> name;) {
            names.push_back(name);
        }
    }
    return names;
}

void becomeOrdinaryUser() {
    for (int capability = 0; ::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) == 0; ++capability) {
    }
    // Where an ordinary user runs the tests, the bed's namespaces have no second one to become.
    const bool changed = ::setgroups(0, nullptr) == 0 &&
                         ::setresgid(kNobody, kNobody, kNobody) == 0 &&
                         ::setresuid(kNobody, kNobody, kNobody) == 0;
    if (!changed && errno != EPERM && errno != EINVAL) {
        fail("cannot become another user");
    }
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};
    if (::syscall(SYS_capset, &header, none.data()) != 0) {
        fail("cannot give the capabilities up");
    }
    // A change of the user forgets that this process ends with the one that started it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

/// From here on no call is let through but the named ones, and starting `program`.
void confine(const std::vector<std::string>& names, int program) {
    const scmp_filter_ctx filter = ::seccomp_init(SCMP_ACT_KILL_PROCESS);
    int result = ::seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(execveat), 1,
                                    SCMP_A0(SCMP_CMP_EQ, static_cast<unsigned>(program)));
    for (const std::string& name : names) {
        const int number = ::seccomp_syscall_resolve_name(name.c_str());
        if (number == __NR_SCMP_ERROR) {
            errno = ENOSYS;
            fail(name);
        }
        // The calls of other processors have negative numbers.
        if (number >= 0 && result == 0) {
            result = ::seccomp_rule_add(filter, SCMP_ACT_ALLOW, number, 0);
        }
    }
    if (result == 0) {
        result = ::seccomp_load(filter);
    }
    if (result != 0) {
        errno = -result;
        fail("cannot make the filter");
    }
}

}  // namespace

int main(int count, char** arguments) {
    const std::span<char*> words(arguments, static_cast<std::size_t>(count));
    if (words.size() != 3) {
        std::fputs("usage: confined LIST PROGRAM\n", stderr);
        return 1;
    }
    // Looked at before the user changes: it may stand where ordinary users cannot go.
    const std::vector<std::string> names = readNames(words[1]);
    const int program = ::open(words[2], O_PATH | O_CLOEXEC);
    if (program < 0) {
        fail(words[2]);
    }
    becomeOrdinaryUser();
    confine(names, program);
    ::syscall(SYS_execveat, program, "", &words[2], ::environ, AT_EMPTY_PATH);
    fail(words[2]);
}
