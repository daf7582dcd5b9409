// A program that needs the daemon's libraries and does nothing with them: what the loader takes to
// start it, and the memory that stands then, are the floor of the daemon's own. With an argument it
// waits for a signal.
#include <cjson/cJSON.h>
#include <unistd.h>

#include <string>

int main(int argc, char** /*argv*/) {
    // Both libraries are really needed by this.
    const std::string version = std::string("cJSON, version ") + cJSON_Version();
    if (argc > 1) {
        ::pause();
    }
    return version.empty() ? 1 : 0;
}
