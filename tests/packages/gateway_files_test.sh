#!/bin/bash
# The configuration that is packed, and the manual page, name every key that there is; the packed
# file's comments say what holds without them.
#
#   tests/packages/gateway_files_test.sh AVOIPGW
set -euo pipefail
readonly gateway=${1:?usage: tests/packages/gateway_files_test.sh AVOIPGW}
cd "$(dirname "$0")/../.."
scratch=$(mktemp --directory)
trap 'rm --recursive "$scratch"' EXIT

same() {
    diff --unified "$2" "$3" || { echo "$1" >&2; exit 1; }
}

"$gateway" --config /dev/null --print-config >"$scratch/defaults"
"$gateway" --config packaging/gateway/gateway.toml --print-config >"$scratch/packed"
same "the packed configuration changes a default" "$scratch/defaults" "$scratch/packed"

sed 's/^# \([a-z_]* = .*\)/\1/' packaging/gateway/gateway.toml >"$scratch/uncommented"
"$gateway" --config "$scratch/uncommented" --print-config >"$scratch/packed"
same "the packed configuration has another default in a comment" \
    "$scratch/defaults" "$scratch/packed"

keys='s/^\(\[.*\]\)$/\1/p; s/^\([a-z_]*\) = .*/\1/p'
sed --quiet "$keys" "$scratch/defaults" >"$scratch/keys"
sed --quiet "$keys" "$scratch/uncommented" >"$scratch/packed_keys"
same "the packed configuration lacks a key" "$scratch/keys" "$scratch/packed_keys"

sed --quiet '/^\.Sh CONFIGURATION/,/^\.Sh FILES/{s/^\.Ss \(\[.*\]\)/\1/p; s/^\.It Ic //p}' \
    packaging/man/avoipgw.8 >"$scratch/page_keys"
same "avoipgw(8) lacks a key" "$scratch/keys" "$scratch/page_keys"
