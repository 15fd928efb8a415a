#!/bin/bash
# usage: abi_anchors.sh INCLUDE_DIR PLATFORM_INCLUDE_DIR
# Prints a source with one exported function per class and record that plug-ins are compiled against. Debug information
# of a library made from it holds each of them whole, also what the real library's functions reach only through a
# template argument or a void pointer.
set -euo pipefail
include=$1
platform=$2

(cd "$include" && find qar -name '*.h' | LC_ALL=C sort) | sed 's/.*/#include "&"/'
(cd "$platform" && find db_layer tuk -name '*.h' | LC_ALL=C sort) | sed 's/.*/#include "&"/'

# Definitions at namespace scope: they begin in the first column and do not end in a semicolon.
emit() {
    local space=$1 name
    shift
    grep -hE '^(class|struct) [^;(]*[^;]$' "$@" | sed -E 's/ final\b//; s/ ?[:{].*//; s/.* //' | LC_ALL=C sort -u |
        while read -r name; do
            echo "extern \"C\" void anchor_${space}_$name(const $space::$name*) {}"
        done
}
mapfile -t exported < <(find "$include/qar" -name '*.h')
emit qar "${exported[@]}"
emit db_layer "$platform"/db_layer/*.h
emit tuk "$platform"/tuk/*.h
