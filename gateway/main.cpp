#include <malloc.h>
#include <pthread.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <iostream>

#include "gateway/program/accounts.hpp"
#include "gateway/program/options.hpp"
#include "gateway/program/serve.hpp"

using namespace avoip::gw;

namespace {

constexpr int kBadConfig = 2;

/// Signals that end the program are waited for, by one thread; those that a peer, a limit or a
/// terminal raise mean nothing.
void prepareSignals() {
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGHUP}) {
        std::signal(signal, SIG_IGN);
    }
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

int run(const Options& options) {
    const Config config = Config_read(options.config);
    // The daemon, which opens images by their path, has another working folder.
    const std::string data = std::filesystem::absolute(config.data).lexically_normal().string();
    switch (options.action) {
        case Action::kCheck:
            return 0;
        case Action::kPrintConfig:
            std::cout << Config_print(config);
            return 0;
        case Action::kUser:
        case Action::kToken:
            return Accounts_run(options, data);
        case Action::kServe:
            break;
    }
    prepareSignals();
    return Serve_run(config, data);
}

}  // namespace

int main(int argc, char** argv) {
    // A thread for each connection shall not bring a heap of its own.
    ::mallopt(M_ARENA_MAX, 2);
    // What is kept is for the user and the group alone.
    ::umask(027);
    int status = 0;
    try {
        const auto options = Options_read(argc, argv, status);
        return options ? run(*options) : status;
    } catch (const ConfigError& error) {
        std::cerr << "avoipgw: " << error.text << "\n";
        return kBadConfig;
    } catch (const std::exception& error) {
        std::cerr << "avoipgw: " << error.what() << "\n";
        return 1;
    }
}
