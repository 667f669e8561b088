#!/bin/sh
# Shows the whole thing at work: sets up, builds, and backs up a directory of this machine to two simulated storage
# servers, a disk array and a Copan array.
# Usage: ./demo.sh [DIRECTORY]               (default: /usr/share)
#        ./demo.sh --cluster [DIRECTORY]     two hosts with one array, whose images lie in a small Ceph cluster that is started
#                                            for it on this machine, and in S3 by its gateways, as root (default: /usr/share/doc)
# Installs what is missing (with sudo when not root) and builds below build/; nothing else stays.
set -eu
cd "$(dirname "$0")"

cluster=
if [ "${1:-}" = --cluster ]; then
    cluster=yes
    shift
    [ "$(id -u)" -eq 0 ] || { echo "demo.sh: only root can start a cluster with networks of its own" >&2; exit 2; }
fi
directory=${1:-/usr/share${cluster:+/doc}}
[ -d "$directory" ] || { echo "demo.sh: $directory is no directory" >&2; exit 2; }

echo "=== 1. Packages: what debian-packages.txt lists for building"
# shellcheck disable=SC2086  # none or three words
packaging/install-packages.sh build ${cluster:+rados s3 cluster}

echo "=== 2. Build: plug-in, substitute image library and simhost (build/release)"
# shellcheck disable=SC2086  # none or two words
cmake --preset release ${cluster:+-DSTSPI_BUILD_RADOS=ON -DSTSPI_BUILD_S3=ON} >/dev/null
cmake --build --preset release

work=$(mktemp -d "$PWD/build/demo.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Whatever the user has set for the shell must not change what is shown.
unset STSIMAGE_ROOT STSIMAGE_ABSOLUTE
if [ -n "$cluster" ]; then
    echo "=== 3. A cluster of three nodes and two hosts, in networks of their own (takes a minute)"
    TMPDIR=$work tests/cluster/ceph_cluster.py run --gateways -- tests/cluster/two_hosts.sh build/release "$directory" "$work"
    exit
fi
simhost=build/release/bin/simhost
size=$(du -sh "$directory" 2>/dev/null | cut -f1)

archive() {
    # Files that vanish or grow while tar reads them are the directory's business, not the backup's.
    tar --create --file - --directory "$directory" . 2>"$work/tar-errors" || true
}

backup() {
    # A tar stream has no length of its own: it is compared by its hash.
    archive | TMPDIR=$work $simhost run --config-dir examples --server "$1"
    [ ! -s "$work/tar-errors" ] || { echo "tar says:"; head -n 5 "$work/tar-errors"; }
}

echo "=== 3. Back up $directory ($size) to a simulated disk array: Kelvarpool:mediaA of examples/Kelvarpool.sim"
backup Kelvarpool:mediaA

echo "=== 4. Back up $directory ($size) to a simulated Copan array: copan:arr1 of examples/copan.sim"
backup copan:arr1

echo "=== 5. Back up $directory once more, restore it below build/, compare file by file"
image() {
    command=$1
    shift
    $simhost image "$command" --config-dir examples --server Kelvarpool:mediaA --lsu pool1 --image-root "$work/images" "$@"
}
mkdir "$work/images" "$work/restored"
archive | image put nightly
image ls
image get nightly | tar --extract --file - --directory "$work/restored"
if [ -s "$work/tar-errors" ]; then
    echo "tar could not read everything, so that the restored files are not compared:"
    head -n 5 "$work/tar-errors"
else
    diff --recursive --no-dereference "$directory" "$work/restored"
    echo "restored files: $(find "$work/restored" -type f | wc -l), none differs"
fi
image rm nightly

echo "=== Done: what was read back and what was restored is what was written"
