/* A front end in C: it has to compile and link; it needs no daemon to run. */
#include <string.h>

#include "lib/frontend/avoip_frontend.h"

int main(void) {
    char* answer = (char*)"";
    avoip_frontend* const frontend = avoip_frontend_open("127.0.0.1", AVOIP_CONSOLE_PORT);
    const avoip_result result = avoip_frontend_ask(frontend, "no mark", 1, &answer);
    const int said = strcmp(avoip_frontend_error(frontend), "A command must end in \"!\".") == 0;
    avoip_frontend_close(frontend);
    return result == AVOIP_REFUSED && answer == NULL && said ? 0 : 1;
}
