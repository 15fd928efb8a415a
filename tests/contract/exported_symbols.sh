#!/bin/bash
# usage: exported_symbols.sh [--update] LIBRARY [LIST]
# Compares the symbols that the library exports with the committed list.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
update=false
if [[ $1 == --update ]]; then
    update=true
    shift
fi
library=$1
list=${2:-$here/exported_symbols.txt}

exported() {
    nm -D --defined-only --format=posix "$library" | awk '{print $1}' | LC_ALL=C sort |
        while read -r symbol; do printf '%s  %s\n' "$symbol" "$(c++filt "$symbol")"; done
}

if $update; then
    exported >"$list"
else
    diff -u "$list" <(exported)
fi
