#!/bin/sh
# Shows two hosts with one array: what the one puts, the other gets, also while a node of the cluster is cut off, and by S3.
# Usage: ceph_cluster.py run --gateways -- two_hosts.sh BUILD DIRECTORY WORK     WORK: a directory for what is restored
set -eu
build=$1
directory=$2
work=$3
host_a=${STSPI_CLUSTER_CLIENTS% *}
host_b=${STSPI_CLUSTER_CLIENTS#* }
switch=${host_a%-*}-switch

# Calls simhost in the network of a host.
image() {
    host=$1
    command=$2
    shift 2
    ip netns exec "$host" "$build/bin/simhost" image "$command" --config-dir examples --server Kelvarpool:mediaA --lsu pool1 "$@"
}
shared=rados:images/demo
bucket=s3://images/demo

restore_and_compare() {
    rm -rf "$work/restored"
    mkdir "$work/restored"
    image "$1" get --image-root "$2" "$3" - | tar --extract --file - --directory "$work/restored"
    diff --recursive --no-dereference "$directory" "$work/restored"
    echo "restored files: $(find "$work/restored" -type f | wc -l), none differs"
}

echo "=== 4. Host A backs up $directory, host B sees the image and restores it"
tar --create --file - --directory "$directory" . | image "$host_a" put --image-root $shared monday -
image "$host_b" ls --image-root $shared
restore_and_compare "$host_b" $shared monday

echo "=== 5. A node of the cluster is cut off: host B backs up all the same, host A restores"
ip -n "$switch" link set node3 down
tar --create --file - --directory "$directory" . | image "$host_b" put --image-root $shared tuesday -
restore_and_compare "$host_a" $shared tuesday
ip -n "$switch" link set node3 up

echo "=== 6. From the cluster into a directory, checked by hash"
image "$host_a" migrate $shared "$work/images"

echo "=== 7. Host A moves both into a bucket, through its gateway; host B restores one through another gateway"
image "$host_a" migrate $shared "$bucket"
restore_and_compare "$host_b" "$bucket" tuesday

echo "=== 8. Host B deletes, host A sees it"
for place in "$shared" "$bucket"; do
    image "$host_b" rm --image-root "$place" monday tuesday
    image "$host_a" ls --image-root "$place"
done
echo "=== Done: each host restored what the other had backed up"
