#include "console/terminal.hpp"

#include <unistd.h>

#include <array>

ssize_t Telnet_sendOptions(int socket) {
    constexpr std::array<unsigned char, 9> kOptions = {0xFF, 0xFB, 0x01, 0xFF, 0xFB,
                                                       0x03, 0xFF, 0xFC, 0x1F};
    return ::write(socket, kOptions.data(), kOptions.size());
}

int Telnet_redirectFd(int source, int target, int* saved) {
    *saved = ::dup(target);
    ::dup2(source, target);
    return *saved;
}

void Telnet_restoreFd(int saved, int target) {
    ::dup2(saved, target);
    ::close(saved);
}
