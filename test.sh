#!/bin/sh
# Runs every check and every test. Installs what is missing (with sudo when not root) and builds below build/.
# Usage: ./test.sh            everything: lint, then the presets clang, tsan, asan and dev
#        ./test.sh quick      a first verdict: format, rules of the house, one build, unit tests
#        ./test.sh STEP...    only these: quick, lint, or a preset: dev, clang, asan, tsan; and, only so, arm64 and s390x
#                             for those processors under qemu, roots for the first commands of the README in fresh roots
#                             of Debian 12 and 13, as root and as an ordinary user, cluster for images that several hosts
#                             share in a cluster on this machine, as root
set -eu
cd "$(dirname "$0")"

steps=${*:-lint clang tsan asan dev}
for step in $steps; do
    case $step in
        quick | lint | dev | clang | asan | tsan | arm64 | s390x | roots | cluster) ;;
        *) echo "test.sh: unknown step '$step' (quick, lint, dev, clang, asan, tsan, arm64, s390x, roots, cluster)" >&2; exit 2 ;;
    esac
done

times=
summary=
begin() { started=$(date +%s); }
# Notes how long something took, for the list at the end.
note_time() {
    times="$times$(printf '%6d s  %s' $(($(date +%s) - started)) "$1")
"
}

build_and_test() {
    echo "=== $1: configure, build, test (build/$1)"
    begin
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1"
    note_time "$1: build"
    begin
    ctest --preset "$1" --output-log "build/$1/tests.log"
    summary=$(grep 'tests passed' "build/$1/tests.log")
    note_time "$1: tests"
}

packages_and_nfs() {
    tests/packages/packages_test.sh . cluster
    echo '=== packages: passed'
    nfs=0
    tests/cluster/user_mode_linux.sh tests/cluster/nfs_test.py build/cluster || nfs=$?
    [ "$nfs" -ne 125 ] || { echo '=== NFS: SKIPPED, see build/cluster/others.log'; nfs=0; }
    return "$nfs"
}

begin
packaging/install-packages.sh build rados s3 test
note_time packages

for step in $steps; do
    case $step in
        lint)
            echo "=== lint: format, clang-tidy, cppcheck, shellcheck"
            begin
            packaging/lint.sh
            note_time lint
            ;;
        quick)
            echo "=== quick: format, rules of the house"
            begin
            packaging/lint.sh format
            tests/house.py
            note_time "format and rules"
            build_and_test quick
            ;;
        roots)
            for release in bookworm trixie; do
                for user in root user; do
                    begin
                    tests/packages/fresh_root.sh "$release" "$user" ./demo.sh ./demo.sh './test.sh quick' './test.sh quick'
                    note_time "$release, $user"
                done
            done
            ;;
        arm64 | s390x)
            packaging/install-packages.sh foreign "$step"
            packaging/foreign-root.sh "$step"
            build_and_test "$step"
            ;;
        cluster)
            packaging/install-packages.sh cluster user-mode-linux
            echo "=== cluster: configure, build (build/cluster), images that several hosts share"
            begin
            cmake --preset cluster >/dev/null
            cmake --build --preset cluster
            note_time "cluster: build"
            begin
            # Both wait a good part of their time.
            packages_and_nfs >build/cluster/others.log 2>&1 &
            others=$!
            cluster=0
            tests/cluster/cluster_test.py build/cluster || cluster=$?
            note_time "cluster: tests"
            beside=0
            wait "$others" || beside=$?
            [ "$beside" -eq 0 ] || cat build/cluster/others.log
            grep '^===' build/cluster/others.log
            note_time "cluster: tests, packages and NFS"
            [ "$((cluster + beside))" -eq 0 ] || exit 1
            ;;
        *) build_and_test "$step" ;;
    esac
done

echo "Where the time went:"
printf '%s' "$times"
[ -z "$summary" ] || echo "$summary"
