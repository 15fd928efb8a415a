#!/bin/bash
# usage: abi.sh [--update] LIBRARY INCLUDE_DIR PLATFORM_INCLUDE_DIR [BASELINE_DIR]
# Compares the binary interface with the committed baseline: that of the library's exported functions, and, through
# anchors, the layout and slots of every class and record in the exported headers. Any difference is a failure; a wanted
# one is committed as a new baseline (see docs/abi-policy.md).
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
update=false
if [[ $1 == --update ]]; then
    update=true
    shift
fi
library=$1
include=$(cd "$2" && pwd)
platform=$(cd "$3" && pwd)
baseline=${4:-$here/abi}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if ! readelf -SW "$library" | grep -q ' \.debug_info '; then
    echo "$library has no debug information; a comparison would pass whatever changed" >&2
    exit 1
fi

"$here/abi_anchors.sh" "$include" "$platform" >"$work/anchors.cpp"
# Without the flag, a class whose first virtual function is defined elsewhere is described by its name alone.
(cd "$work" && g++ -std=c++11 -shared -fPIC -g -O0 -femit-class-debug-always -Wl,-soname,anchors -I"$include" \
    -I"$platform" -ffile-prefix-map="$include=include" -ffile-prefix-map="$platform=platform/interface" \
    anchors.cpp -o anchors.so)

# describe FILE OUT [OPTION...]
describe() {
    abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --exported-interfaces-only \
        --suppressions "$here/abi/public_types.abignore" "${@:3}" "$1" --out-file "$2"
}
describe_library() { describe "$library" "$1" --suppressions "$here/abi/standard_types.abignore"; }

if $update; then
    mkdir -p "$baseline"
    describe_library "$baseline/QARCommon.xml"
    describe "$work/anchors.so" "$baseline/anchors.xml"
    exit
fi

# Without the first two options a changed parameter of a virtual operation is held to be harmless.
compare() { abidiff --harmless --redundant --no-corpus-path "$1" "$2"; }
describe_library "$work/QARCommon.xml"
describe "$work/anchors.so" "$work/anchors.xml"
compare "$baseline/QARCommon.xml" "$work/QARCommon.xml"
compare "$baseline/anchors.xml" "$work/anchors.xml"
