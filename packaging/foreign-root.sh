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

packaging/unpack-packages.sh "build/foreign/$processor" "$processor" "$libraries" "$release"

# The image library needs openat2, which qemu hands on since version 9.2.
case $release in
    bookworm) packaging/unpack-packages.sh build/foreign/qemu "$(dpkg --print-architecture)" qemu-user bookworm-backports http://deb.debian.org/debian ;;
    *) packaging/unpack-packages.sh build/foreign/qemu "$(dpkg --print-architecture)" qemu-user "$release" ;;
esac
