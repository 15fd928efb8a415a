#!/bin/bash
# usage: format.sh [--fix] [FILE...]
# Checks that all C++ files, or those named, are formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
mode=(--dry-run -Werror)
if [[ ${1:-} == --fix ]]; then
    mode=(-i)
    shift
fi
files() {
    if [[ $# -gt 0 ]]; then
        printf '%s\0' "$@"
    else
        git -c safe.directory="$PWD" ls-files -z --cached --others --exclude-standard -- '*.h' '*.cpp'
    fi
}
files "$@" | xargs -0 -P "$(nproc)" -n 20 clang-format --style=file:"$PWD/.clang-format" "${mode[@]}"
