#!/bin/bash
# usage: negative.sh LIBRARY PREFIX
# Shows of each gate that it can fail: gives it the fault it is there for, and fails when the gate lets it pass.
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
library=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
prefix=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
missed=0

# must_fail NAME COMMAND...
must_fail() {
    local name=$1
    shift
    if "$@" >"$work/log" 2>&1; then
        echo "missed: $name"
        missed=$((missed + 1))
    else
        echo "caught: $name"
    fi
}

# must_pass NAME COMMAND...: the unspoilt case, without which a failure would show nothing
must_pass() {
    local name=$1
    shift
    if "$@" >"$work/log" 2>&1; then
        echo "passes: $name"
    else
        echo "fails without a fault: $name"
        cat "$work/log"
        missed=$((missed + 1))
    fi
}

# spoil FILE SED_SCRIPT: edits a copy; a script that changes nothing is itself an error
spoil() {
    cp "$1" "$work/before"
    sed -i -E "$2" "$1"
    if cmp -s "$1" "$work/before"; then
        echo "nothing to spoil in $1: $2"
        missed=$((missed + 1))
    fi
}

fresh_headers() {
    rm -rf "$work/include" "$work/platform"
    cp -r "$root/include" "$work/include"
    cp -r "$root/platform/interface" "$work/platform"
}

# --- exported symbols ------------------------------------------------------------------------------------------------

must_pass "exported symbols as they are" "$here/exported_symbols.sh" "$library"
sed 1d "$here/exported_symbols.txt" >"$work/list"
must_fail "a symbol that the list does not name" "$here/exported_symbols.sh" "$library" "$work/list"
{ cat "$here/exported_symbols.txt" && echo "zz_gone  zz_gone"; } >"$work/list"
must_fail "a symbol that is gone" "$here/exported_symbols.sh" "$library" "$work/list"

# --- binary interface ------------------------------------------------------------------------------------------------

abi() { "$here/abi.sh" "$library" "$work/include" "$work/platform"; }
fresh_headers
must_pass "binary interface as it is" abi
spoil "$work/include/qar/IDBManager.h" \
    '/virtual bool Finalize/{h;d}; /virtual bool ForwardedCallA/{G}'
must_fail "two operations that changed slots" abi
fresh_headers
spoil "$work/include/qar/IDBManager.h" 's/(ForwardedCallB\(.*)uint32_t/\1uint64_t/'
must_fail "a wider parameter of a virtual operation" abi
fresh_headers
spoil "$work/include/qar/DeviceRecords.h" 's/int n_device_id;/long long n_device_id;/'
must_fail "a wider field of a record" abi
fresh_headers
spoil "$work/platform/db_layer/Connect.h" 's/virtual bool Query\(/virtual int Spare() = 0;\n    &/'
must_fail "a new slot in the database connection" abi
fresh_headers
strip -o "$work/stripped.so" "$library"
must_fail "a library without debug information" \
    "$here/abi.sh" "$work/stripped.so" "$root/include" "$root/platform/interface"

# --- slot tables and record layouts ----------------------------------------------------------------------------------

contract_tests() {
    g++ -std=c++20 -I"$work/include" -I"$work/platform" -I"$root/tests" "$here"/vtable_slots_test.cpp "$here"/record_layouts_test.cpp \
        -o "$work/contract_tests" -Wl,--unresolved-symbols=ignore-all -lgtest -lgtest_main -pthread &&
        "$work/contract_tests"
}
must_pass "slots and layouts as they are" contract_tests
spoil "$work/include/qar/IHistoryStateMgr.h" 's/virtual bool Uninit\(\) = 0;/virtual int Spare() = 0;\n    &/'
must_fail "an operation that moved by a slot" contract_tests
fresh_headers
spoil "$work/include/qar/SystemRecords.h" 's/unsigned int n_https_port;/unsigned long long n_https_port;/'
must_fail "a field that moved" contract_tests
fresh_headers

# --- headers alone ---------------------------------------------------------------------------------------------------

headers() { "$here/headers_alone.sh" "$work/installed"; }
fresh_installed() {
    rm -rf "$work/installed"
    mkdir -p "$work/installed/qar" "$work/installed/qar-platform" "$work/installed/qarhost"
    cp "$prefix/include/qar/Export.h" "$prefix/include/qar/StateRange.h" "$work/installed/qar/"
    cp "$prefix"/include/qarhost/*.h "$work/installed/qarhost/"
}
fresh_installed
must_pass "headers as they are" headers
spoil "$work/installed/qar/StateRange.h" '/#include <string>/d'
must_fail "a header that leans on another's include" headers
fresh_installed
echo 'inline auto Twice(int n) { return n * 2; }' >>"$work/installed/qar/StateRange.h"
must_fail "a header that needs C++14" headers
fresh_installed
echo 'inline int Cut(long long n) { return n; }' >>"$work/installed/qar/StateRange.h"
must_fail "a header with a narrowing" headers

# --- format and log lines --------------------------------------------------------------------------------------------

printf 'int  main( ){return 0;}\n' >"$work/bad.cpp"
must_fail "a badly formatted source" "$here/format.sh" "$work/bad.cpp"

tidy() {
    printf 'int Sum(int n) {\n    %s\n    return n;\n}\n' "$1" >"$work/tidy.cpp"
    clang-tidy --quiet --config-file="$root/.clang-tidy" "$work/tidy.cpp" -- -std=c++20
}
must_pass "a source that clang-tidy likes" tidy 'if (n > 1) ++n;'
must_fail "a condition that guards nothing" tidy 'if (n > 1);
    ++n;'

log_line() {
    printf '#include "LogSink.h"\nvoid F(const char* s) { LogSinkWrite(2, "QARCommon", "[%%s]%s[%%s(%%d)]", s, %s, s, 1); }\n' \
        "$1" "$2" | g++ -std=c++20 -Wall -Werror -fsyntax-only -I"$root/platform/interface" -x c++ -
}
must_pass "a log line" log_line %d 7
must_fail "a log line whose value is of another type than its format says" log_line %s 7

# --- sanitizers and the small stack ----------------------------------------------------------------------------------

# sanitized FLAGS BODY: compiles with the flags and runs
sanitized() {
    printf '#include <thread>\n#include <vector>\nint main(int argc, char**) { %s }\n' "$2" >"$work/fault.cpp"
    # shellcheck disable=SC2086
    clang++ -std=c++20 -g -O1 $1 -pthread "$work/fault.cpp" -o "$work/fault" && "$work/fault"
}
address="-fsanitize=address,undefined -fno-sanitize-recover=all"
must_pass "no fault under address and undefined" sanitized "$address" 'return argc - 1;'
must_fail "a read past the end" sanitized "$address" 'std::vector<int> v(4); return v.data()[argc + 4] == 7;'
must_fail "a leak" sanitized "$address" 'volatile int* p = new int[argc]; p = nullptr; return 0;'
must_fail "a signed overflow" sanitized "$address" 'int n = 2147483647; n += argc; return n * 0;'
race='int n = 0; std::thread t([&n] { n = 1; }); %s t.join(); return n * 0;'
must_pass "no race" sanitized -fsanitize=thread "${race/\%s/}"
must_fail "a race" sanitized -fsanitize=thread "${race/\%s/n = 2;}"

deep() {
    printf '#include <thread>\n%s\n' 'int F(int n) { volatile char c[1024]; c[0] = 1; return n ? F(n - 1) + c[0] : 0; }
int main() { std::thread t([] { F(4000); }); t.join(); return 0; }' >"$work/deep.cpp"
    g++ -std=c++20 -O0 -pthread "$work/deep.cpp" -o "$work/deep" && (ulimit -s "$1" && "$work/deep")
}
must_pass "deep recursion on 8 MB" deep 8192
must_fail "deep recursion on 1 MB" deep 1024

if [[ $missed -gt 0 ]]; then
    echo "$missed gates let their fault pass"
    exit 1
fi
echo "every fault was caught"
