#!/bin/sh
# Prints the line and branch coverage of the plug-in's folders by their unit tests and the walk through the entry points.
# Builds below build/coverage. Exit status 1 when fewer than 97 % of the lines are reached.
# Usage: tests/coverage.sh [GCOVR-OPTION...]      for instance --html-details build/coverage/report.html
set -eu
cd "$(dirname "$0")/.."

build=build/coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage --target \
    unit_sim unit_copan unit_plugin unit_lsu unit_image entry_points_test
find "$build" -name '*.gcda' -delete
ctest --preset coverage --quiet -R '^(unit\.(sim|copan|plugin|lsu|image)|entry_points)\.'

# Branches that only exceptions take are the compiler's, not the code's.
status=0
gcovr --root . --object-directory "$build" --exclude-directories '.*CompilerId.*' \
    --filter 'plugin/' --filter 'lsu/' --filter 'image/' --filter 'sim/' --filter 'copan/' \
    --exclude-throw-branches --exclude-unreachable-branches --print-summary --fail-under-line 97 "$@" || status=1
exit "$status"
