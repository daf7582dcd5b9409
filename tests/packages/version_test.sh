#!/bin/bash
# The version is the project's wherever it stands.
#
#   tests/packages/version_test.sh VERSION AVOIPD
set -euo pipefail
readonly version=$1 daemon=$2
cd "$(dirname "$0")/../.."
grep --quiet "^## $version\b" CHANGELOG.md || { echo "CHANGELOG.md has no $version" >&2; exit 1; }
[[ $(head -1 debian/changelog) == "avoip ($version) "* ]] ||
    { echo "debian/changelog does not begin with $version" >&2; exit 1; }
grep --quiet --text "avoipd $version" "$daemon" ||
    { echo "$daemon does not hold its version $version" >&2; exit 1; }
