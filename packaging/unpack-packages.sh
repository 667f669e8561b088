#!/bin/sh
# Unpacks Debian packages, and those that they depend on, into a folder, unless they are there already. Nothing is installed on this machine.
# Usage: unpack-packages.sh FOLDER PROCESSOR PACKAGE,PACKAGE... SUITE [MIRROR]
set -eu

folder=$1 processor=$2 packages=$3 suite=$4 mirror=${5:-}

made_of="$suite $packages"
[ "$(cat "$folder/made-of" 2>/dev/null)" != "$made_of" ] || exit 0
echo "Unpacking into $folder: $packages"
rm -rf "$folder"
# One place for programs and libraries, as Debian's systems have it: also where the packages do not.
mkdir -p "$folder/usr/bin" "$folder/usr/lib" "$folder/usr/sbin"
ln -s usr/bin usr/lib usr/sbin "$folder"
# By way of an archive, so that the files belong to whoever calls this.
mmdebstrap --quiet --variant=extract --format=tar --architectures="$processor" --include="$packages" "$suite" - ${mirror:+"$mirror"} \
    >"$folder/all.tar"
tar --extract --file "$folder/all.tar" --directory "$folder" --no-same-owner --exclude ./dev --keep-directory-symlink
rm "$folder/all.tar"
echo "$made_of" >"$folder/made-of"
