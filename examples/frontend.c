/*
 * A front end in C, on the library: lists the devices, routes an encoder's video to a decoder, and
 * prints both answers. It keeps one connection, and takes turns with other front ends.
 *
 *     cc frontend.c -lavoip_frontend -o frontend && ./frontend TX-0001 RX-0001
 */
#include <avoip_frontend.h>
#include <stdio.h>
#include <stdlib.h>

/* Asks, and prints the answer, which counts only under one of the two names. */
static int ask(avoip_frontend* frontend, const char* command, const char* success,
               const char* failure, int timeout_ms) {
    char* answer = NULL;
    if (avoip_frontend_ask_named(frontend, command, success, failure, timeout_ms, &answer) !=
        AVOIP_OK) {
        fprintf(stderr, "%s\n", avoip_frontend_error(frontend));
        return 0;
    }
    puts(answer);
    free(answer);
    return 1;
}

int main(int argc, char** argv) {
    char route[128];
    avoip_frontend* frontend = NULL;
    int done = 0;
    if (argc != 3 ||
        snprintf(route, sizeof route, "matrix set %s %s!", argv[1], argv[2]) >= (int)sizeof route) {
        fputs("usage: frontend ENCODER DECODER\n", stderr);
        return 2;
    }
    frontend = avoip_frontend_open("127.0.0.1", AVOIP_CONSOLE_PORT);
    if (frontend == NULL) {
        fputs("no memory\n", stderr);
        return 1;
    }
    done = ask(frontend, "config get devices!", "config get devices", NULL, 10000) &&
           /* Its success answer has another name than its failure answer. */
           ask(frontend, route, "matrix sets", "matrix set", 5000);
    avoip_frontend_close(frontend);
    return done ? 0 : 1;
}
