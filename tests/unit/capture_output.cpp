#include "capture_output.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace {

int checked(int result) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot capture output");
    }
    return result;
}

// Sends one stream to a file in memory until it ends.
class Redirection {
  public:
    explicit Redirection(int stream)
        : stream_(stream),
          saved_(checked(::fcntl(stream, F_DUPFD_CLOEXEC, 0))),
          file_(checked(::memfd_create("captured", MFD_CLOEXEC))) {
        checked(::dup2(file_, stream_));
    }

    ~Redirection() {
        ::dup2(saved_, stream_);
        ::close(saved_);
        ::close(file_);
    }

    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

    std::string text() const {
        std::string whole;
        std::array<char, 4096> piece{};
        ssize_t count = 0;
        while ((count = ::pread(file_, piece.data(), piece.size(),
                                static_cast<off_t>(whole.size()))) > 0) {
            whole.append(piece.data(), static_cast<std::size_t>(count));
        }
        return whole;
    }

  private:
    int stream_;
    int saved_;
    int file_;
};

}  // namespace

CapturedOutput captureOutput(const std::function<void()>& act) {
    std::fflush(nullptr);
    const Redirection output(STDOUT_FILENO);
    const Redirection errors(STDERR_FILENO);
    act();
    std::fflush(nullptr);
    return {output.text(), errors.text()};
}
