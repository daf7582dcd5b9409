// Two descriptors of one channel, for code that takes a descriptor.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include "lib/base/descriptor.hpp"

struct Channel {
    /// The end that is given to the tested code; of a pipe, the one that is read.
    avoip::Descriptor ours;
    /// The test's own end; of a pipe, the one that is written.
    avoip::Descriptor theirs;
};

inline Channel checkedChannel(int result, const std::array<int, 2>& ends) {
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a channel");
    }
    return {avoip::Descriptor(ends[0]), avoip::Descriptor(ends[1])};
}

/// @param type  such as SOCK_STREAM, or SOCK_SEQPACKET to see what was written in one piece
inline Channel makeSocketPair(int type = SOCK_STREAM) {
    std::array<int, 2> ends{};
    const int result = ::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data());
    return checkedChannel(result, ends);
}

inline Channel makePipe() {
    std::array<int, 2> ends{};
    const int result = ::pipe2(ends.data(), O_CLOEXEC);
    return checkedChannel(result, ends);
}

/// Writes the bytes; they must fit into the channel.
inline void put(const avoip::Descriptor& end, std::string_view bytes) {
    if (::write(end.get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::system_error(errno, std::generic_category(), "cannot write into a channel");
    }
}

/// What one read gives at once; empty at the end of the stream and when nothing is there.
inline std::string readAtOnce(const avoip::Descriptor& end) {
    ::fcntl(end.get(), F_SETFL, O_NONBLOCK);
    std::string bytes(1U << 18U, '\0');
    const ssize_t count = ::read(end.get(), bytes.data(), bytes.size());
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}
