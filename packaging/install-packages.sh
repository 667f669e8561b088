#!/bin/sh
# Installs the Debian packages of the named groups of debian-packages.txt, those that are missing only.
# Usage: install-packages.sh GROUP...
set -eu

list=$(dirname "$0")/../debian-packages.txt

missing=
for group in "$@"; do
    grep -q "^$group " "$list" || { echo "install-packages.sh: no group '$group' in debian-packages.txt" >&2; exit 2; }
    # shellcheck disable=SC2013  # one word a line
    for package in $(sed -n "s/^$group //p" "$list"); do
        status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || status=
        [ "$status" = installed ] || missing="$missing $package"
    done
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "These packages are missing, and only root or a user with sudo can install them:$missing" >&2; exit 1; }
    as_root='sudo'
fi
echo "Installing:$missing"
# A user's sudo may drop the environment: env sets what apt must see.
$as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o Acquire::Retries=3 update
# shellcheck disable=SC2086  # a list of words
$as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o Acquire::Retries=3 install -y --no-install-recommends $missing
