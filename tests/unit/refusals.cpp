#include "refusals.hpp"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>

namespace {

constexpr int kChildLost = -100;

bool refuse(unsigned int call, unsigned int mask, unsigned int second) {
    std::array filter{
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 4),
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
        sock_filter BPF_STMT(BPF_ALU | BPF_AND | BPF_K, mask),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, second, 0, 1),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace

NoDescriptors::NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit none{0, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
}

NoDescriptors::~NoDescriptors() {
    ::setrlimit(RLIMIT_NOFILE, &before_);
}

int resultWithRefusal(unsigned int refused, unsigned int mask, unsigned int second,
                      const std::function<int()>& call) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (!refuse(refused, mask, second)) {
            std::perror("cannot refuse a system call");
            ::_exit(kChildLost & 0xFF);
        }
        ::_exit(call() & 0xFF);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return kChildLost;
    }
    return static_cast<signed char>(WEXITSTATUS(status));
}
