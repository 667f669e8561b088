#!/bin/sh
# Checks the sources without running them: format, clang-tidy, cppcheck, shellcheck.
set -eu
cd "$(dirname "$0")/.."

product='base plugin lsu image sim copan redirect stsimage simhost'

# Source files whose paths match a pattern. Not by git: a checkout may be somebody else's, or a mere copy.
sources() {
    find . \( -path ./build -o -path ./.git \) -prune -o -type f -print | grep -E "$1"
}

echo "clang-format"
sources '\.(h|c|cpp)$' | xargs clang-format --dry-run --Werror

echo "shellcheck"
sources '\.sh$|^\./\.ci/run$' | xargs shellcheck

echo "cppcheck"
# shellcheck disable=SC2086  # a list of folders
cppcheck --quiet -j "$(nproc)" --std=c++17 --language=c++ --enable=warning,performance,portability --inline-suppr \
    --suppress=missingIncludeSystem --error-exitcode=1 -I . -I include $product

echo "clang-tidy"
cmake --preset clang -B build/lint -DCMAKE_UNITY_BUILD=OFF >/dev/null
sources "^\./($(echo "$product" | tr ' ' '|'))/.*\.cpp$" | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p build/lint --warnings-as-errors='*' 2>/dev/null
