#!/bin/sh
# Makes below build/foreign what building and running for another processor takes: its libraries, in a folder of the
# processor's name, and qemu. All of it are Debian packages that are unpacked there: nothing is installed on this machine.
# Usage: foreign-root.sh PROCESSOR     as Debian calls it: arm64 or s390x
set -eu
cd "$(dirname "$0")/.."

processor=$1
# shellcheck source=/dev/null
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
libraries=$(sed -n 's/^foreign-root //p' debian-packages.txt | paste -sd,)

# unpack FOLDER PROCESSOR PACKAGES SUITE [MIRROR]    unless that is there already
unpack() {
    folder=build/foreign/$1
    made_of="$release $3"
    [ "$(cat "$folder/made-of" 2>/dev/null)" != "$made_of" ] || return 0
    echo "Unpacking into $folder: $3"
    rm -rf "$folder"
    mkdir -p "$folder"
    # By way of an archive, so that the files belong to whoever calls this.
    mmdebstrap --quiet --variant=extract --format=tar --architectures="$2" --include="$3" "$4" - ${5:+"$5"} >"$folder/all.tar"
    tar --extract --file "$folder/all.tar" --directory "$folder" --no-same-owner --exclude ./dev --keep-directory-symlink
    rm "$folder/all.tar"
    echo "$made_of" >"$folder/made-of"
}

unpack "$processor" "$processor" "$libraries" "$release"

# The image library needs openat2, which qemu hands on since version 9.2.
case $release in
    bookworm) unpack qemu "$(dpkg --print-architecture)" qemu-user bookworm-backports http://deb.debian.org/debian ;;
    *) unpack qemu "$(dpkg --print-architecture)" qemu-user "$release" ;;
esac
