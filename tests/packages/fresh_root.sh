#!/bin/sh
# Runs commands in a copy of this checkout in a Debian root that nothing was ever done in, as somebody would who has just
# cloned it: only what is committed is there, and packages are installed by the commands themselves.
# Usage: fresh_root.sh RELEASE USER COMMAND...    RELEASE as Debian names it: bookworm or trixie
#                                                 USER: root, or user for an ordinary one with sudo
# Each COMMAND is one word for the shell. Must be run by root; takes the release from the machine's Debian mirror.
set -eu
[ $# -ge 3 ] || { sed -n '4,6s/^# *//p' "$0" >&2; exit 2; }
[ "$(id -u)" -eq 0 ] || { echo "fresh_root.sh: a Debian root can only be made by root" >&2; exit 2; }
release=$1
user=$2
shift 2
case $user in
    root) home=/root ;;
    user) home=/home/user ;;
    *) echo "fresh_root.sh: USER is root or user, not '$user'" >&2; exit 2 ;;
esac
cd "$(dirname "$0")/../.."

mkdir -p build
root=$(mktemp -d "$PWD/build/root-$release-$user.XXXXXX")
chmod 755 "$root"  # an ordinary user works in there
# What is mounted below the root is mounted in a namespace of its own and goes with it.
trap 'rm -rf --one-file-system "$root"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
mirror=$(sed -n 's/^deb \(\[[^]]*] \)\{0,1\}\(http[^ ]*\) .* main.*/\2/p; s/^URIs: \([^ ]*\).*/\1/p' \
    /etc/apt/sources.list /etc/apt/sources.list.d/* 2>/dev/null | grep -v security | head -n 1)
echo "=== a fresh root: $release, $user"
debootstrap --variant=minbase --include=sudo,ca-certificates "$release" "$root" "${mirror:-http://deb.debian.org/debian}" >"$root.log" 2>&1 ||
    { tail "$root.log"; rm "$root.log"; exit 1; }
rm "$root.log"
echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/soon-gone"  # nothing in there has to outlive a power cut
echo 'Acquire::Retries "3";' >"$root/etc/apt/apt.conf.d/retries"
cp /etc/resolv.conf "$root/etc/"
[ "$user" = root ] || {
    chroot "$root" useradd --create-home --shell /bin/sh user
    echo 'user ALL=(ALL) NOPASSWD: ALL' >"$root/etc/sudoers.d/user"
}
mkdir "$root$home/checkout"
git archive HEAD | tar --extract --directory "$root$home/checkout"
[ "$user" = root ] || chroot "$root" chown --recursive user: "$home/checkout"

cat >"$root/enter.sh" <<'INSIDE'
set -eu
user=$1
home=$2
shift 2
mount -t proc proc /proc
mount -t devpts devpts /dev/pts
mount -t tmpfs -o mode=1777 tmpfs /dev/shm
apt-get -q update >/dev/null
for command in "$@"; do
    echo "=== $(. /etc/os-release && echo "$PRETTY_NAME"), $user: $command"
    if [ "$user" = root ]; then
        cd "$home/checkout"
        HOME=$home sh -c "$command"
    else
        su - "$user" -c "cd checkout && $command"
    fi
done
INSIDE
env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 unshare --mount --propagation private \
    chroot "$root" sh /enter.sh "$user" "$home" "$@"
