#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds two consumers
# against it: the examples through find_package(hxtvel), and a C program
# through pkg-config. Proves that the installed package is usable as shipped.
set -euo pipefail
build_dir=$1
source_dir=$2
work=$(mktemp -d /tmp/hxtvel_install_XXXXXX)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
test -L "$work/prefix/lib/libhxtvel.so"
test -f "$work/prefix/lib/libhxtvel.so.1.0.0"
readelf -d "$work/prefix/lib/libhxtvel.so.1.0.0" | grep -q 'SONAME.*libhxtvel.so.1'
test -f "$work/prefix/include/hxtvel/hxtvel.h"
test -f "$work/prefix/lib/pkgconfig/hxtvel.pc"

cmake -S "$source_dir/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/examples" >/dev/null
"$work/examples/measurement_round" "$work" >/dev/null

export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
# Built with pkg-config's flags alone, started without LD_LIBRARY_PATH: the
# prefix is outside the loader's path, the .pc file's run-time path finds it.
cc -std=c99 -pedantic -Wall -Werror -o "$work/host_c99" "$source_dir/tests/c/host_c99.c" \
   $(pkg-config --cflags --libs hxtvel)
env -u LD_LIBRARY_PATH "$work/host_c99"
# The spectrobin example, built against the installed package, refuses an
# empty file.
if "$work/examples/read_spectrobin" /dev/null 2>/dev/null; then exit 1; fi
echo "install test: ok"
