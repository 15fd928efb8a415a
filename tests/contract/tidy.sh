#!/bin/bash
# usage: tidy.sh [--all | FILE...]
# Runs clang-tidy on the sources that differ from the main branch, or, on that branch itself, those of the last commit
# and of the working tree. The tests are left out: their macros are not ours to change.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
git() { command git -c safe.directory="$PWD" "$@"; }

changed() {
    local base
    base=$(git merge-base HEAD origin/main 2>/dev/null || true)
    if [[ -z $base || $base == $(git rev-parse HEAD) ]]; then
        base=$(git rev-parse --verify -q HEAD~1 || git hash-object -t tree /dev/null)
    fi
    git diff --name-only --diff-filter=d "$base" -- '*.cpp'
    git ls-files --others --exclude-standard -- '*.cpp'
}

if [[ ${1:-} == --all ]]; then
    list=$(git ls-files -- '*.cpp')
elif [[ $# -gt 0 ]]; then
    list=$(printf '%s\n' "$@")
else
    list=$(changed)
fi
list=$(grep -E '^(src|platform|host|plugins|examples)/' <<<"$list" | sort -u || true)
if [[ -z $list ]]; then
    echo "no source changed"
    exit
fi
# Read as clang does: this preset's compile commands hold no precompiled header of the other compiler.
[[ -f build/asan-ubsan/compile_commands.json ]] || cmake --preset asan-ubsan
xargs -P "$(nproc)" -n 1 clang-tidy -p build/asan-ubsan --quiet --extra-arg=-fno-sanitize=all <<<"$list"
