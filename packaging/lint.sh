#!/bin/sh
# Checks the sources without running them.
# Usage: lint.sh                     everything: format, shell, cppcheck, clang-tidy
#        lint.sh format|shell|cppcheck|clang-tidy ...
set -eu
cd "$(dirname "$0")/.."

product='base plugin lsu image sim copan redirect stsimage journal filter simhost conformance'

# Source files whose paths match a pattern. Not by git: a checkout may be somebody else's, or a mere copy.
sources() {
    find . \( -path ./build -o -path ./.git \) -prune -o -type f -print | grep -E "$1"
}

# What these find changes with their versions: one version is asked, wherever this runs.
is_asked_version() {
    case $1 in
        clang-*) version=14 ;;
        cppcheck) version=2.10 ;;
    esac
    "$1" --version | grep -Eq "(version|Cppcheck) $version(\.|$)" ||
        { verdict="not asked, since this is not version $version of $1"; return 1; }
}

check_format() {
    is_asked_version clang-format || return 0
    sources '\.(h|c|cpp)$' | xargs -n 40 -P "$(nproc)" clang-format --dry-run --Werror
}

check_shell() {
    sources '\.sh$|^\./\.ci/run$' | xargs shellcheck
}

check_cppcheck() {
    is_asked_version cppcheck || return 0
    # What it found in a source it remembers, by the preprocessed text.
    remembered=${XDG_CACHE_HOME:-${HOME:-/var/tmp}/.cache}/stspi-cppcheck
    mkdir -p "$remembered"
    # It takes all sources for those of one program, in which a name has one meaning.
    # shellcheck disable=SC2086  # a list of folders
    cppcheck --quiet --cppcheck-build-dir="$remembered" -j "$(nproc)" --std=c++17 --language=c++ --library=googletest \
        --enable=warning,performance,portability --inline-suppr --suppress=missingIncludeSystem \
        --suppress=ctuOneDefinitionRuleViolation --error-exitcode=1 -I . -I include -i conformance/corpus $product bench tests
}

# Several sources are looked at as one wherever they compile so: most of the time goes into headers.
check_clang_tidy() {
    is_asked_version clang-tidy || return 0
    cmake --preset clang -B build/lint -DCMAKE_UNITY_BUILD_BATCH_SIZE=16 -DSTSPI_UNITY_PLUGIN=ON -DSTSPI_BUILD_RADOS=ON >/dev/null
    packaging/clang_tidy.py build/lint
}

[ $# -gt 0 ] || set -- format shell cppcheck clang-tidy
for check; do
    case $check in
        format | shell | cppcheck | clang-tidy)
            started=$(date +%s)
            verdict='nothing found'
            "check_$(echo "$check" | tr - _)"
            echo "$check: $verdict ($(($(date +%s) - started)) s)"
            ;;
        *) echo "lint.sh: unknown check '$check' (format, shell, cppcheck, clang-tidy)" >&2; exit 2 ;;
    esac
done
