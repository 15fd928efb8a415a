#!/bin/bash
# usage: headers_alone.sh INCLUDE_DIR
# Compiles every header of an installed tree alone, from C++11 to C++20, with both compilers; the host's also as C.
set -euo pipefail
include=$(cd "$1" && pwd)
flags=(-fsyntax-only -Wall -Wextra -Wconversion -Wpedantic -Werror -I"$include" -I"$include/qar-platform")
cd "$include"
mapfile -t headers < <(find qar qar-platform qarhost -name '*.h' -not -path 'qar-platform/mock/*' | LC_ALL=C sort)
echo "${#headers[@]} headers"

jobs_list() {
    local header standard
    for header in "${headers[@]}"; do
        for standard in 11 14 17 20; do
            echo "g++ -x c++ -std=c++$standard ${flags[*]} -include $header /dev/null"
        done
        for standard in 11 20; do
            echo "clang++ -x c++ -std=c++$standard ${flags[*]} -include $header /dev/null"
        done
    done
    find qarhost -name '*.h' | while read -r header; do
        echo "gcc -x c -std=c99 ${flags[*]} -include $header /dev/null"
    done
}
jobs_list | xargs -P "$(nproc)" -d '\n' -n 1 bash -c '$0 || { echo "failed: $0"; exit 1; }'
