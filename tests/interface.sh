#!/usr/bin/env bash
# Tests the interface itself: interface.sh HEADER MAP LIBRARY OBJECT... checks the header as C99 and C++20, the exported names,
# what the library needs at run time, its identification strings, and that its own objects hold no writable data.
set -uo pipefail

header=$1 map=$2 library=$3
shift 3
failures=0

check() {
    if [[ $2 == "$3" ]]; then
        echo "ok: $1"
    else
        echo "FAILED: $1"
        diff <(echo "$2") <(echo "$3")
        failures=$((failures + 1))
    fi
}

compile() {
    local standard=$1 language=$2
    shift 2
    for compiler in "$@"; do
        command -v "$compiler" > /dev/null || continue
        check "$compiler takes the header alone as $standard" \
            "$(echo '#include "zemt.h"' | "$compiler" -std="$standard" -x "$language" -Wall -Wextra -Wpedantic -Wconversion \
                -Wshadow -Wundef -Werror -I "$(dirname "$header")" -fsyntax-only - 2>&1)" ""
    done
}

compile c99 c gcc clang
compile c++11 c++ g++ clang++
compile c++20 c++ g++ clang++

declared=$(grep '^ZEMT_API' "$header" |
    sed -E 's/^ZEMT_API (ZEMTConversion|int32_t|int16_t) ([A-Za-z0-9_]+).*/\2/' | sort)
undecorated=$(nm -D --defined-only "$library" | awk '$3 != "ZEMT_2.1" { sub(/@@ZEMT_2\.1$/, "", $3); print $3 }' | grep -vE '^_?_?(asan|odr_asan|ubsan|start___|stop___)' | sort)
check "the header declares 92 names" "$(wc -l <<< "$declared")" 92
check "the library exports the names of the header, under the version ZEMT_2.1, and nothing else" "$declared" "$undecorated"
check "the map lists the names of the header" "$declared" \
    "$(sed -n '/^global:/,/^local:/s/^ *\([A-Za-z0-9_]*\);$/\1/p' "$map" | sort)"

if nm "$library" 2> /dev/null | grep -E '__(asan|tsan|ubsan)' > /dev/null; then
    echo "skipped: what a sanitizer adds to a library is not its own"
    exit $((failures > 0))
fi

needed=$(readelf -d "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | grep -vE '^(libc\.so\.6|ld-linux.*)$')
check "the library needs the C library and the loader only" "$needed" ""
check "its name is libzemt.so.2" "$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')" "libzemt.so.2"
check "it says what it is" "$(strings "$library" | grep -E '^ZEMT(Version|Build)=' | sort)" \
    "$(printf 'ZEMTBuild=0228\nZEMTVersion=2.1.0')"
check "its objects hold no writable data" \
    "$(readelf -SW "$@" | grep -E ' (\.data|\.bss|\.tdata|\.tbss)[. ]' | awk '{ sub(/^ *\[ *[0-9]+\] */, ""); if ($5 != "000000") print }' |
        grep -vE '^\.data\.rel\.ro')" ""

properties=$(readelf -lnWd "$library")
for property in 'GNU_STACK .* RW ' GNU_RELRO BIND_NOW $(readelf -h "$library" | grep -q X86-64 && echo IBT,.SHSTK || echo BTI,.PAC); do
    check "the file has $property" "$(grep -cE "$property" <<< "$properties")" 1
done
check "no text is relocated" "$(grep -c TEXTREL <<< "$properties")" 0
check "the stack is guarded" "$(nm -uD "$library" | grep -o __stack_chk_fail)" __stack_chk_fail
check "nothing in it is writable when it has been loaded" \
    "$(nm "$library" | awk '$2 ~ /^[bBdD]$/ { print $3 }' | grep -vE '^(_DYNAMIC|_GLOBAL_OFFSET_TABLE_|__cpu_(model|features2)|.*_bss_start|_edata|_end)$')" ""
check "the sources' folder does not show" "$(strings "$library" | grep -c "$(realpath "$(dirname "$header")/..")")" 0

check "only dates and times in need of a scratch can allocate" \
    "$(for object in "$@"; do nm -uC "$object" | grep -oE ' (malloc|[a-z]*alloc|operator new.*)$' | sed "s|^|${object##*/}|"; done | sort)" \
    "$(printf 'formatting.cpp.o malloc\nparsing.cpp.o malloc')"

exit $((failures > 0))
