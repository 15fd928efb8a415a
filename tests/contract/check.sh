#!/bin/bash
# usage: check.sh [--list | STEP...]
# Runs every gate, or the named steps, and says at the end which failed. Logs are in build/check.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
gates=tests/contract
out=$PWD/build/check
prefix=$out/prefix

steps=(gcc format headers symbols abi install negative stack clang tidy asan-ubsan tsan)
named_only=(mutation)  # too long for every run

# --- the steps -------------------------------------------------------------------------------------------------------

preset() { cmake --preset "$1" && cmake --build --preset "$1" && ctest --preset "$1" -j "$(nproc)"; }

step_gcc() { cmake --preset dev && cmake --build --preset dev; }
built() { step_gcc >"$out/build.log" 2>&1 || { cat "$out/build.log"; false; }; }
# What a user gets, in a folder of its own.
staged() { built && rm -rf "$prefix" && cmake --install build/dev --prefix "$prefix" >/dev/null; }

step_format() { $gates/format.sh; }
step_headers() { staged && $gates/headers_alone.sh "$prefix/include"; }
step_symbols() { built && $gates/exported_symbols.sh build/dev/lib/libQARCommon.so; }
step_abi() { built && $gates/abi.sh build/dev/lib/libQARCommon.so include platform/interface; }
step_install() { staged && $gates/install_consumer.sh "$prefix" "$out/consumer"; }
step_negative() { staged && $gates/negative.sh build/dev/lib/libQARCommon.so "$prefix"; }
step_stack() { built && (ulimit -s 1024 && ctest --preset dev -j "$(nproc)"); }
# The sanitizers build with clang and its warnings as errors.
step_clang() { cmake --preset asan-ubsan && cmake --build --preset asan-ubsan; }
step_tidy() { $gates/tidy.sh; }
step_asan-ubsan() { preset asan-ubsan; }
step_tsan() { preset tsan; }
step_mutation() { tests/mutation/run.py; }

# --- running them ----------------------------------------------------------------------------------------------------

if [[ ${1:-} == --list ]]; then
    printf '%s\n' "${steps[@]}"
    exit
fi
wanted=("$@")
[[ $# -gt 0 ]] || wanted=("${steps[@]}")
for step in "${wanted[@]}"; do
    if ! declare -F "step_$step" >/dev/null; then
        echo "check: no step '$step'; known are: ${steps[*]} ${named_only[*]}" >&2
        exit 2
    fi
done

mkdir -p "$out"
failed=()
for step in "${wanted[@]}"; do
    begin=$SECONDS
    if "step_$step" >"$out/$step.log" 2>&1; then
        printf 'ok      %-12s %4d s   %s\n' "$step" $((SECONDS - begin)) "$(tail -n 1 "$out/$step.log" | cut -c1-80)"
    else
        failed+=("$step")
        printf 'FAILED  %-12s %4d s   %s\n' "$step" $((SECONDS - begin)) "$out/$step.log"
        tail -n 60 "$out/$step.log" | sed 's/^/    /'
    fi
done
if [[ ${#failed[@]} -gt 0 ]]; then
    echo "check: failed: ${failed[*]}"
    exit 1
fi
echo "check: all ${#wanted[@]} steps passed"
