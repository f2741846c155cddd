#!/usr/bin/env bash
# Installs a build and uses it as others do: install.sh SOURCE BUILD. README's first call is compiled as C and as C++, found
# through find_package, pkg-config and add_subdirectory, against the shared and the static library, in a prefix that has moved.
set -euo pipefail

source=$(realpath "$1") build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
CC=${CC:-cc}
CXX=${CXX:-c++}

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# expect WHAT WANTED COMMAND...: the command succeeds and its output is what is wanted.
expect() {
    local what=$1 wanted=$2 got
    shift 2
    got=$("$@" 2>&1) || fail "$what: status $?: $got"
    [[ $got == "$wanted" ]] || fail "$what: $got"
    echo "ok: $what"
}

# Runs a command without its output, which is shown only if the command fails.
quietly() {
    local output
    output=$("$@" 2>&1) || fail "$*: $output"
}

configured() {
    quietly cmake -S "$1" -B "$2" -G Ninja "${@:3}"
    quietly cmake --build "$2"
}

cmake --install "$build" --prefix "$work/first" > /dev/null
mv "$work/first" "$work/moved"
prefix=$work/moved
library=$(dirname "$(find "$prefix" -name libzemt.a)")

sed -n '/^```c$/,/^```$/{//!p}' "$source/README.md" > "$work/first_call.c"
cp "$work/first_call.c" "$work/first_call.cpp"
said="year 2024, month 1, day 15, 13:45:30"

cat > "$work/CMakeLists.txt" << 'EOF'
cmake_minimum_required(VERSION 3.16)
project(consumer LANGUAGES ${LANGUAGES})
if(SOURCE)
  add_subdirectory(${SOURCE} zemt)
else()
  find_package(zemt 2.1 REQUIRED)
endif()
add_executable(consumer first_call.${EXTENSION})
target_link_libraries(consumer PRIVATE ${TARGET})
install(TARGETS consumer)
EOF

for language in C:c CXX:cpp; do
    for target in zemt::zemt zemt::zemt_static; do
        name="${language#*:} through find_package, $target"
        configured "$work" "$work/b-$language-$target" -DLANGUAGES="${language%:*}" -DEXTENSION="${language#*:}" \
            -DTARGET=$target -DCMAKE_PREFIX_PATH="$prefix"
        expect "$name" "$said" "$work/b-$language-$target/consumer"
    done
done
readelf -d "$work/b-C:c-zemt::zemt/consumer" | grep -q 'NEEDED.*libzemt.so.2' || fail "zemt::zemt is not the shared library"
readelf -d "$work/b-C:c-zemt::zemt_static/consumer" | grep -qE 'NEEDED.*lib(zemt|stdc)' && fail "the static one needs a library"

# As part of another project, which has asked for nothing: the library alone, no build type, nothing installed.
configured "$work" "$work/sub" -DLANGUAGES='C;CXX' -DEXTENSION=c -DTARGET=zemt::zemt -DSOURCE="$source"
expect "add_subdirectory" "$said" "$work/sub/consumer"
cmake --install "$work/sub" --prefix "$work/of_parent" > /dev/null
expect "a parent installs what is its own" "$work/of_parent/bin/consumer" find "$work/of_parent" -type f
grep -qE '^CMAKE_BUILD_TYPE:[^=]*=.|^BUILD_SHARED_LIBS' "$work/sub/CMakeCache.txt" && fail "the parent's settings have changed"
configured "$work" "$work/sub_static" -DLANGUAGES='C;CXX' -DEXTENSION=cpp -DTARGET=zemt::zemt -DSOURCE="$source" \
    -DBUILD_SHARED_LIBS=OFF
expect "add_subdirectory, BUILD_SHARED_LIBS=OFF" "$said" "$work/sub_static/consumer"
readelf -d "$work/sub_static/consumer" | grep -q 'NEEDED.*libzemt' && fail "BUILD_SHARED_LIBS=OFF has given a shared library"

export PKG_CONFIG_PATH=$library/pkgconfig
read -r -a flags <<< "$(pkg-config --cflags --libs zemt)"
quietly "$CC" "$work/first_call.c" -o "$work/pc" "${flags[@]}" -Wl,-rpath,"$library"
expect "pkg-config, C" "$said" "$work/pc"
quietly "$CXX" "$work/first_call.cpp" -o "$work/pc" "${flags[@]}" -Wl,-rpath,"$library"
expect "pkg-config, C++" "$said" "$work/pc"
read -r -a flags <<< "$(pkg-config --static --cflags --libs zemt)"
quietly "$CC" -static "$work/first_call.c" -o "$work/pc" "${flags[@]}"
expect "pkg-config --static" "$said" "$work/pc"
quietly cmake -S "$source" -B "$work/absolute" -G Ninja -DCMAKE_INSTALL_LIBDIR=/opt/l -DCMAKE_INSTALL_INCLUDEDIR=/opt/i \
    -DZEMT_BUILD_TESTS=OFF -DZEMT_BUILD_RECORDCSV=OFF
expect "zemt.pc in absolute folders" "/opt/i" env PKG_CONFIG_PATH="$work/absolute" pkg-config --variable=includedir zemt

# A library that contains zemt keeps it to itself.
echo 'int first(void) { extern int ZEMTValidateDateTime(); return ZEMTValidateDateTime(0, 1); }' > "$work/plugin.c"
quietly "$CC" -shared -fPIC "$work/plugin.c" -o "$work/plugin.so" "$library/libzemt.a"
expect "a plugin with the static library" "first" sh -c "nm -D --defined-only '$work/plugin.so' | cut -d' ' -f3"

# Other platforms are told so, in one sentence.
refused() {
    local output
    if output=$("$@" -fsyntax-only -x c "$prefix/include/zemt.h" 2>&1); then fail "$* takes the header"; fi
    [[ $(grep -c 'error:' <<< "$output") == 1 && $output == *'zemt needs a 64-bit little-endian platform'* ]] || fail "$*: $output"
    echo "ok: $* is refused"
}
refused "$CC" -fshort-wchar
if [[ $(uname -m) == x86_64 ]]; then refused "$CC" -m32 -Wfatal-errors; fi  # behind the sentence, its headers are missing
if command -v clang > /dev/null; then refused clang --target=aarch64_be-linux-gnu -Wfatal-errors; fi

expect "recordcsv runs from the prefix" "recordcsv $(pkg-config --modversion zemt)" "$prefix/bin/recordcsv" --version
[[ $(find "$prefix" -name 'ZEMT*.3' -o -name 'Convert*.3' -o -name 'Trim*.3' -o -name 'FloatToString.3' | wc -l) == 93 ]] ||
    fail "not every function has a manual page"
echo "ok: a manual page for every function"
