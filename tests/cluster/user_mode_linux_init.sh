#!/bin/sh
# The first process under the kernel that user_mode_linux.sh starts, which gives it $work and $packages: lays what may be written above
# the files of the real machine, runs the command there, and ends the kernel.
set -eu
: "${work:?}" "${packages:?}"
export PATH=/usr/sbin:/usr/bin:/sbin:/bin

mount -t proc proc /proc
trap 'echo o >/proc/sysrq-trigger; sleep 60' EXIT

mount -t tmpfs place /mnt
mkdir /mnt/machine /mnt/packages /mnt/exchange /mnt/disk /mnt/root
mount -t hostfs -o / machine /mnt/machine
mount -t hostfs -o "$packages" packages /mnt/packages
mount -t hostfs -o "$work" work /mnt/exchange
mount -t ext4 /dev/ubda /mnt/disk
mkdir /mnt/disk/written /mnt/disk/overlay /mnt/disk/temporary
chmod 1777 /mnt/disk/temporary
insmod "/usr/lib/uml/modules/$(uname -r)/kernel/fs/overlayfs/overlay.ko"
# A file that the machine has comes before the one of a package.
mount -t overlay -o lowerdir=/mnt/machine:/mnt/packages,upperdir=/mnt/disk/written,workdir=/mnt/disk/overlay overlay /mnt/root

cd /mnt/root
mount -t tmpfs -o mode=755 run run
mkdir run/lock run/machine
# Not chroot: modules are looked for in the root of the first process.
pivot_root . run/machine
cd /
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
mkdir -p /dev/pts /dev/shm /lib/modules
mount -t devpts devpts /dev/pts
mount -t tmpfs -o mode=1777 shm /dev/shm
ln -s "/usr/lib/uml/modules/$(uname -r)" /lib/modules/
cp /run/machine/mnt/exchange/command /run
mount --bind /run/machine/mnt/disk/temporary /var/tmp
hostname user-mode-linux
ip link set lo up
stty -F /dev/ttyS0 -opost

status=0
: >/run/machine/mnt/exchange/begun
sh /run/command </dev/null >/dev/ttyS0 2>&1 || status=$?
echo "$status" >/run/machine/mnt/exchange/status
sync
