#!/bin/sh
# Makes the Debian packages, lets lintian judge them, installs them in a fresh Debian root and runs a backup cycle there.
# Usage: packages_test.sh SOURCE_DIRECTORY     ends with 77, a skip, where it cannot run
set -eu

source=$1
[ "$(id -u)" -eq 0 ] || { echo "skipped: a Debian root can only be made by root"; exit 77; }
command -v debootstrap >/dev/null || { echo "skipped: no debootstrap"; exit 77; }

cd "$source"
cmake --preset package >/dev/null
cmake --build --preset package >/dev/null
work=$(mktemp -d)
# What is mounted below the root is mounted in a namespace of its own and goes with it.
trap 'rm -rf "$work"' EXIT
cpack --preset package -B "$work/packages" >"$work/cpack.log" || { cat "$work/cpack.log"; exit 1; }
ls -l "$work"/packages/*.deb

echo "=== lintian"
lintian --fail-on error,warning "$work"/packages/*.deb

echo "=== a fresh root"
debootstrap --variant=minbase bookworm "$work/root" >"$work/debootstrap.log" || { tail "$work/debootstrap.log"; exit 1; }
mkdir "$work/root/packages"
cp "$work"/packages/*.deb "$work/root/packages"
cp /etc/resolv.conf "$work/root/etc/"

cat >"$work/root/try.sh" <<'INSIDE'
set -eu
mount -t proc proc /proc
mount -t devpts devpts /dev/pts
apt-get -q update >/dev/null
DEBIAN_FRONTEND=noninteractive apt-get -q install -y --no-install-recommends /packages/*.deb >/dev/null
for server in Kelvarpool:mediaA copan:arr1; do
    echo "=== simhost run --server $server"
    tar --create --file - --directory /usr/share . |
        simhost run --config-dir /usr/share/doc/stspi-kelvarpool/examples --server "$server"
done
echo "=== stspi-conformance"
stspi-conformance /usr/lib/x86_64-linux-gnu/stspi/libstspi_kelvarpool.so
INSIDE
unshare --mount chroot "$work/root" sh /try.sh
