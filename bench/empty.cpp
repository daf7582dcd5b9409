// A program that needs the daemon's libraries and does nothing with them: what the loader takes to
// start it, and the memory that stands then, are the floor of the daemon's own. With an argument it
// waits for a signal.
#include <cjson/cJSON.h>
#include <unistd.h>

#include <stdexcept>

namespace {

// So that the C++ run time is really needed, as it is by the daemon.
void neverThrown(bool thrown) {
    if (thrown) {
        throw std::runtime_error(cJSON_Version());
    }
}

}  // namespace

int main(int argc, char** argv) {
    neverThrown(argc > 2 && argv[1] == nullptr);
    if (argc > 1) {
        ::pause();
    }
    return 0;
}
