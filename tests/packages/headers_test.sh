#!/bin/sh
# Installs the development files below a private prefix and builds against them, through pkg-config and through CMake.
# Usage: headers_test.sh BUILD_DIRECTORY
set -eu

build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --component dev --prefix "$work/prefix" >/dev/null

cat >"$work/claim.c" <<'SOURCE'
#include <stspi/stsimg.h>
#include <stspi/stspi.h>
int main(void) { return sizeof(stsp_lsu_v7_t) == 1032 && STS_SLOT_CLAIM == 4 ? 0 : 1; }
SOURCE

echo "=== pkg-config"
# The prefix in the file is the one of the configuration, not the private one.
PKG_CONFIG_PATH=$work/prefix/share/pkgconfig
export PKG_CONFIG_PATH
pkg-config --validate stspi
# shellcheck disable=SC2046  # a list of words
cc -std=c11 $(pkg-config --define-variable=prefix="$work/prefix" --cflags stspi) "$work/claim.c" -o "$work/claim"
"$work/claim"

echo "=== CMake"
cat >"$work/CMakeLists.txt" <<'SOURCE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C)
find_package(stspi 0.1 REQUIRED)
add_executable(consumer claim.c)
target_link_libraries(consumer PRIVATE stspi::headers)
SOURCE
cmake -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/build" >/dev/null
"$work/build/consumer"

echo "=== manuals"
for page in stspi stspi_open_server stspi_read_image load_process; do
    gzip -t "$work/prefix/share/man/man3/$page.3.gz"
done
