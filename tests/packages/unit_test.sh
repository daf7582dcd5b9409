#!/bin/bash
# A unit as it was made: systemd finds nothing wrong with it, and counts it as little exposed.
#
#   tests/packages/unit_test.sh UNIT
set -euo pipefail
readonly most_exposed=15 # tenths; systemd's own services stand between 87 and 96
readonly unit=${1:?usage: tests/packages/unit_test.sh UNIT}
scratch=$(mktemp --directory)
trap 'rm --recursive "$scratch"' EXIT

# It names programs that are not installed here.
name=$(basename "$unit")
sed 's#=/[^ ]*/avoip\(guard\|gw\)#=/bin/true#' "$unit" >"$scratch/$name"
found=$(systemd-analyze verify --man=no "$scratch/$name" 2>&1 | grep avoip || true)
if [[ -n $found ]]; then
    echo "systemd-analyze verify: $found" >&2
    exit 1
fi
if ! systemd-analyze security --offline=true --no-pager --threshold="$most_exposed" \
    "$scratch/$name"; then
    echo "$name is more exposed than ${most_exposed%?}.${most_exposed#?}; see the ✗ above" >&2
    exit 1
fi
for forbidden in DynamicUser=yes PrivateIPC=yes; do
    if grep --line-regexp "$forbidden" "$unit"; then
        echo "front ends could not share the answer segment: $forbidden" >&2
        exit 1
    fi
done
