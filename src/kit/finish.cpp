#include "kit/finish.hpp"

#include "base/output.hpp"

int Command_fail(const char* errorLine) {
    Output_print("%s\n", errorLine);
    return -1;
}

int Command_acknowledge(std::int32_t result, const char* errorLine, const char* cmd,
                        char** answer) {
    if (result < 0) {
        return Command_fail(errorLine);
    }
    Answer_store(Answer_success(cmd), *answer);
    return 0;
}
