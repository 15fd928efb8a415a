#!/bin/bash
# usage: install_consumer.sh PREFIX BUILD_DIR
# Builds the outside project against the installed package and runs its tests: its plug-in is loaded by the installed
# host and tested against the installed mock platform, and one of another version is refused.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
prefix=$(cd "$1" && pwd)
build=$2
rm -rf "$build"
cmake -S "$root/tests/install" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Debug
cmake --build "$build"
ctest --test-dir "$build" --output-on-failure --no-tests=error
