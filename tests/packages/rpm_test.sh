#!/bin/sh
# Makes the RPM packages, lets rpmlint judge them, and runs a backup cycle out of their unpacked files.
# Usage: rpm_test.sh SOURCE_DIRECTORY
set -eu

cd "$1"
cmake --preset rpm >/dev/null
cmake --build --preset rpm >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cpack --preset rpm -B "$work/packages" >"$work/cpack.log" 2>&1 || { cat "$work/cpack.log"; exit 1; }
ls -l "$work"/packages/*.rpm

echo "=== rpmlint"
rpmlint --strict --config packaging/rpm/rpmlint.toml "$work"/packages/*.rpm

echo "=== what the packages ask for"
rpm --query --requires --package "$work"/packages/stspi-kelvarpool-*.rpm >"$work/requires"
grep -q '^libACE' "$work/requires"
if grep libstsimage "$work/requires"; then
    echo "the image library is the framework's: no package must be asked for it"
    exit 1
fi

echo "=== simhost run"
mkdir "$work/root"
for package in "$work"/packages/*.rpm; do
    rpm2cpio "$package" | (cd "$work/root" && cpio --extract --make-directories --quiet)
done
[ -f "$work/root/usr/lib64/stspi/libstspi_kelvarpool.so" ]
LD_LIBRARY_PATH=$work/root/usr/lib64 "$work/root/usr/bin/simhost" run \
    --plugin "$work/root/usr/lib64/stspi/libstspi_kelvarpool.so" \
    --config-dir "$work/root/usr/share/doc/stspi-kelvarpool/examples" --server Kelvarpool:mediaA README.md

echo "=== stsimage-probe"
rpm --query --list --package "$work"/packages/libstsimage-substitute-0*.rpm | grep -x /usr/share/man/man1/stsimage-probe.1.gz
mkdir "$work/probed"
"$work/root/usr/bin/stsimage-probe" "$work/probed"
