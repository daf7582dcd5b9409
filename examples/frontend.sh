#!/bin/bash
# A front end for a shell, on avoipctl: lists the devices, routes an encoder's video to a decoder,
# and prints both answers.
#
#   frontend.sh TX-0001 RX-0001
#
# avoipctl runs beside the script as its prompt: it keeps one connection for all commands, takes
# turns with other front ends, and answers each console text with one line. One call of avoipctl for
# each command would be a connection each, for which the daemon keeps memory.
set -euo pipefail

if [[ $# -ne 2 ]]; then
    echo "usage: frontend.sh ENCODER DECODER" >&2
    exit 2
fi

coproc console { exec avoipctl; }

# Asks with a console text, and prints the answer.
ask() {
    local answer
    echo "$1" >&"${console[1]}"
    # Without an answer there is no line, and avoipctl has said why. Its own time-outs are shorter.
    if ! read -r -t 30 answer <&"${console[0]}"; then
        echo "frontend.sh: no answer to \"$1\"" >&2
        return 1
    fi
    echo "$answer"
}

ask 'config get devices!'
ask "matrix set $1 $2!"
