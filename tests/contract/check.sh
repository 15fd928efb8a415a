#!/bin/bash
# usage: check.sh [--list | STEP...]
# Runs every gate, or the named steps, and says at the end which failed. Logs are in build/check.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
gates=tests/contract
out=$PWD/build/check
prefix=$out/prefix

steps=(gcc format headers symbols abi install negative stack model clang tidy asan-ubsan tsan)
# Proofs that take from a minute to half an hour each; ctest runs short forms of them all but the first.
named_only=(mutation kill stop threads soak devices load)

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
step_model() { built && QAR_SEQUENCES=100000 ctest --preset dev -j "$(nproc)" -R '^model_tests'; }

step_mutation() { tests/mutation/run.py; }
step_kill() { built && QAR_KILLS=200 build/dev/bin/kill_tests --gtest_filter='KillLoopTest.Answered*'; }
step_stop() {
    step_clang && QAR_STOPS=200 ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1 \
        UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        build/asan-ubsan/bin/kill_tests --gtest_filter='StopLoopTest.*'
}
step_threads() {
    cmake --preset tsan && cmake --build --preset tsan --target unit_tests &&
        QAR_THREAD_SECONDS=180 TSAN_OPTIONS=halt_on_error=1 build/tsan/bin/unit_tests --gtest_filter='HistoryStress*'
}
step_soak() {
    built && QAR_SOAK_CAMERAS=1000 QAR_SOAK_DAYS=30 QAR_SOAK_SCALE=1500 build/dev/bin/soak_tests --gtest_filter='SoakTest.*'
}
step_devices() {
    built && QAR_DEVICES=10000 build/dev/bin/device_load_tests --gtest_filter='ProbeEngineLoad*' &&
        QAR_DEVICES=10000 build/dev/bin/device_load_tests --gtest_filter='HostLoad*'
}
step_load() {
    built && QAR_LOAD_SECONDS=30 build/dev/bin/front_load_tests --gtest_filter='FrontLoadTest*' &&
        QAR_IDLE_CONNECTIONS=10000 build/dev/bin/front_load_tests --gtest_filter='HostileClientsTest*'
}

# --- running them ----------------------------------------------------------------------------------------------------

if [[ ${1:-} == --list ]]; then
    printf '%s\n' "${steps[@]}" "${named_only[@]/%/ (only when named)}"
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
