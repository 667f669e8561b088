#!/bin/sh
# Runs a command under Debian's Linux as a process of this machine (user-mode Linux), for what this machine's own kernel lacks: file
# systems, delays of links.
# Usage: user_mode_linux.sh COMMAND [ARGUMENT...]      exit status: the command's, or 125: that kernel does not run here, and why
#
# The command runs as root, in this directory and with this environment, and sees this machine's files at their places. It may
# change them: what it writes is its own, and gone with that kernel. /var/tmp is an ext4 file system. There is no network but lo, and one
# processor. System calls take some fifty times as long, and all else as long, as on the machine itself.
# STSPI_UML_MEMORY says how much memory there is, 2G if not: that much room /dev/shm must have.
set -eu

cannot() { echo "user_mode_linux.sh: $*" >&2; exit 125; }

[ $# -gt 0 ] || { sed -n '2,11s/^# \{0,1\}//p' "$0" >&2; exit 2; }
for program in linux.uml mmdebstrap modprobe; do
    command -v $program >/dev/null || cannot "$program is missing (packaging/install-packages.sh user-mode-linux)"
done

source_directory=$(cd "$(dirname "$0")/../.." && pwd)
# shellcheck source=/dev/null
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
"$source_directory/packaging/unpack-packages.sh" "$source_directory/build/user-mode-linux" "$(dpkg --print-architecture)" \
    "$(sed -n 's/^user-mode-root //p' "$source_directory/debian-packages.txt" | paste -sd,)" "$release" >&2

work=$(mktemp -d "${TMPDIR:-/var/tmp}/stspi-uml-XXXXXX")
kernel=
trap '[ -z "$kernel" ] || kill "$kernel" 2>/dev/null || true; rm -rf "$work"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

quoted() { printf "'%s' " "$(printf %s "$1" | sed "s/'/'\\\\''/g")"; }
{
    export -p
    echo 'export TMPDIR=/var/tmp'
    echo "cd $(quoted "$PWD")"
    for word in "$@"; do quoted "$word"; done
} >"$work/command"
truncate -s 60G "$work/disk"
mkfs.ext4 -q "$work/disk"

linux.uml mem="${STSPI_UML_MEMORY:-2G}" uml_dir="$work" rootfstype=hostfs rootflags=/ ro ubda="$work/disk" \
    con=null ssl=null con0=null,fd:1 ssl0=null,fd:3 \
    init="$source_directory/tests/cluster/user_mode_linux_init.sh" work="$work" packages="$source_directory/build/user-mode-linux" \
    3>&1 >"$work/console" 2>&1 </dev/null &
kernel=$!
wait "$kernel" || true
kernel=
[ ! -e "$work/status" ] || exit "$(cat "$work/status")"
tail -n 40 "$work/console" >&2
[ -e "$work/begun" ] || cannot "the kernel does not run here, see its messages above"
echo 'user_mode_linux.sh: the kernel ended before the command, see its messages above' >&2
exit 1
