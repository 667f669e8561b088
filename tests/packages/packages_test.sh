#!/bin/sh
# Makes the Debian packages, lets lintian judge them, installs them in a fresh Debian root and runs a backup cycle there.
# Usage: packages_test.sh SOURCE_DIRECTORY [PRESET]     package; package-engines or cluster for those of engines too; ends with
#                                                       77, a skip, where it cannot run
set -eu

source=$1
preset=${2:-package}
[ "$(id -u)" -eq 0 ] || { echo "skipped: a Debian root can only be made by root"; exit 77; }
command -v debootstrap >/dev/null || { echo "skipped: no debootstrap"; exit 77; }

cd "$source"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" >/dev/null
work=$(mktemp -d)
# What is mounted below the root is mounted in a namespace of its own and goes with it.
trap 'rm -rf "$work"' EXIT
cpack --preset "$preset" -B "$work/packages" >"$work/cpack.log" || { cat "$work/cpack.log"; exit 1; }
ls -l "$work"/packages/*.deb
[ "$preset" = package ] || ls "$work"/packages/libstsimage-substitute-rados_*.deb "$work"/packages/libstsimage-substitute-s3_*.deb

echo "=== lintian"
lintian --fail-on error,warning "$work"/packages/*.deb

echo "=== synopses"
for package in "$work"/packages/*.deb; do
    dpkg-deb -f "$package" Description | head -n 1
done | tee "$work/synopses" | sort | uniq -d | grep . && { echo "two packages with one synopsis"; exit 1; }
cat "$work/synopses"

echo "=== hardening"
for package in "$work"/packages/*.deb; do
    dpkg-deb -x "$package" "$work/unpacked"
done
find "$work/unpacked" -type f \( -name '*.so' -o -path '*/bin/*' \) >"$work/binaries"
grep -q bin/simhost "$work/binaries"
grep -q bin/stsimage-probe "$work/binaries"
while read -r binary; do
    readelf -lW "$binary" | grep -q GNU_RELRO || { echo "$binary: no relro"; exit 1; }
    readelf -dW "$binary" | grep -qE 'BIND_NOW|FLAGS.*NOW' || { echo "$binary: bound late"; exit 1; }
done <"$work/binaries"
for name in simhost libstspi_kelvarpool.so libstsimage.so; do
    binary=$(grep -v /stspi-conformance/ "$work/binaries" | grep "/$name\$")  # the suite has doubles of its own
    for function in __stack_chk_fail '_chk@'; do
        readelf -sW --dyn-syms "$binary" | grep -q "$function" || { echo "$binary: no $function"; exit 1; }
    done
done

echo "=== a fresh root"
# shellcheck source=/dev/null
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
debootstrap --variant=minbase "$release" "$work/root" >"$work/debootstrap.log" || { tail "$work/debootstrap.log"; exit 1; }
echo force-unsafe-io >"$work/root/etc/dpkg/dpkg.cfg.d/soon-gone"  # nothing in there has to outlive a power cut
echo 'Acquire::Retries "3";' >"$work/root/etc/apt/apt.conf.d/retries"
mkdir "$work/root/packages"
cp "$work"/packages/*.deb "$work/root/packages"
cp /etc/resolv.conf "$work/root/etc/"

cat >"$work/root/try.sh" <<'INSIDE'
set -eu
mount -t proc proc /proc
mount -t devpts devpts /dev/pts
apt-get -q update >/dev/null
export DEBIAN_FRONTEND=noninteractive
echo "=== plug-in and tools alone"
apt-get -q install -y --no-install-recommends /packages/stspi-kelvarpool_*.deb /packages/stspi-tools_*.deb >/install.log
grep 'install libstsimage-substitute' /install.log
[ -d /etc/quillmere ]
simhost init --storage-dir /var/tmp copan:a
status=0
simhost pools --server copan:a 2>/errors || status=$?
cat /errors
[ "$status" -eq 2 ]
grep -q 'or the package libstsimage-substitute' /errors
echo "=== all packages"
apt-get -q install -y --no-install-recommends /packages/*.deb >/dev/null
simhost pools --server copan:a
echo data | simhost run --server copan:a | tail -n 1
echo "=== a root in a cluster"
image_ls_in_a_cluster() {
    simhost image ls --config-dir /usr/share/doc/stspi-kelvarpool/examples --server Kelvarpool:mediaA --lsu pool1 \
        --image-root rados:pool 2>&1 | tee /answer || true
}
image_ls_in_a_cluster
if dpkg-query -W libstsimage-substitute-rados 2>/dev/null; then
    grep -q "cannot read the cluster's configuration" /answer
    apt-get -q remove -y libstsimage-substitute-rados >/dev/null
    image_ls_in_a_cluster
fi
grep -q 'stsimage/rados.so: cannot open shared object file' /answer
if dpkg-query -W libstsimage-substitute-s3 2>/dev/null; then
    echo "=== a root in a service that speaks S3"
    simhost image ls --config-dir /usr/share/doc/stspi-kelvarpool/examples --server Kelvarpool:mediaA --lsu pool1 \
        --image-root s3://bucket 2>&1 | tee /answer || true
    grep -q 'there are no credentials' /answer
fi
echo "=== stsimage-probe"
dpkg-query -S /usr/bin/stsimage-probe | grep '^libstsimage-substitute:'
[ -s /usr/share/man/man1/stsimage-probe.1.gz ]
mkdir /var/tmp/probed
stsimage-probe /var/tmp/probed
rmdir /var/tmp/probed
for page in tutorial.md check.md sim-format.md; do
    [ -s "/usr/share/doc/stspi-doc/docs/$page" ]
done
for completion in bash-completion/completions/simhost zsh/vendor-completions/_simhost fish/vendor_completions.d/simhost.fish; do
    [ -s "/usr/share/$completion" ]
done
for server in Kelvarpool:mediaA copan:arr1; do
    echo "=== simhost run --server $server"
    tar --create --file - --directory /usr/share . |
        simhost run --config-dir /usr/share/doc/stspi-kelvarpool/examples --server "$server"
done
echo "=== stspi-conformance"
stspi-conformance /usr/lib/*-linux-gnu/stspi/libstspi_kelvarpool.so
INSIDE
unshare --mount chroot "$work/root" sh /try.sh
