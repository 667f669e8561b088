#!/bin/sh
# Holds the exported symbols, and the parameters and record layouts behind them, against the baselines beside this script:
# a framework that was built for an earlier release goes on working.
# Usage: interface_test.sh BUILD_DIRECTORY            fails at any difference; abidiff's report says which
#        interface_test.sh --renew BUILD_DIRECTORY    takes the interface of this build as the new baselines
set -eu

renew=no
[ "$1" != --renew ] || { renew=yes; shift; }
build=$1
here=$(cd "$(dirname "$0")" && pwd)
headers=$(cd "$here/../../include/stspi" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

failed=0
for name in libstspi_kelvarpool libstsimage; do
    # What frameworks do not see is left out, and so is what differs from one machine to the next.
    abidw --headers-dir "$headers" --drop-private-types --exported-interfaces-only --no-elf-needed --no-corpus-path \
        --no-comp-dir-path --no-show-locs --type-id-style hash --out-file "$work/$name.abi" "$build/lib/$name.so"
    if [ "$renew" = yes ]; then
        cp "$work/$name.abi" "$here/"
        continue
    fi
    status=0
    # abidiff calls a change harmless that merely leaves sizes as they were: such ones are looked at as well.
    abidiff --harmless "$here/$name.abi" "$work/$name.abi" || status=$?
    [ "$status" -eq 0 ] || { failed=1; echo "interface_test.sh: $name.so differs from tests/interface/$name.abi" >&2; }
done
exit "$failed"
