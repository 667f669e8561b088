#!/bin/sh
# Runs every check and every test. Installs what is missing (with sudo when not root) and builds below build/.
# Usage: ./test.sh            everything: lint, then the presets clang, tsan, asan and dev
#        ./test.sh PRESET...  only these, "lint" among them; arm64 and s390x, for those processors under qemu, only so
set -eu
cd "$(dirname "$0")"

steps=${*:-lint clang tsan asan dev}
for step in $steps; do
    case $step in
        lint | dev | clang | asan | tsan | arm64 | s390x) ;;
        *) echo "test.sh: unknown preset '$step' (lint, dev, clang, asan, tsan, arm64, s390x)" >&2; exit 2 ;;
    esac
done

packaging/install-packages.sh build test

for step in $steps; do
    if [ "$step" = lint ]; then
        echo "=== lint: format, clang-tidy, cppcheck, shellcheck"
        packaging/lint.sh
        continue
    fi
    case $step in
        arm64 | s390x)
            packaging/install-packages.sh foreign "$step"
            packaging/foreign-root.sh "$step"
            ;;
    esac
    echo "=== $step: configure, build, test (build/$step)"
    cmake --preset "$step" >/dev/null
    cmake --build --preset "$step"
    ctest --preset "$step"
done
