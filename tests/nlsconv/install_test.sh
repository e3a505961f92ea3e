#!/usr/bin/env bash
# Installs the build tree into a temporary prefix and checks the result: the
# files and links, the C example built against the installed copy through
# pkg-config and through find_package(nlscnv), and the installed nlsconv
# reading the installed data directory.
#   install_test.sh BUILD_DIR SOURCE_DIR WORK_DIR CMAKE CC
set -euo pipefail
build=$1 source=$2 work=$3 cmake=$4 cc=$5
rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix
fail() { echo "FAIL: $*" >&2; exit 1; }

"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log"

# Files and links.
libdir=$(cd "$prefix" && ls -d lib*/libnlscnv.so | xargs dirname)
for f in include/nlscnv.h include/nlscnv/converter.h bin/nlsconv "$libdir/libnlscnv.so.3.0.0" \
         "$libdir/pkgconfig/nlscnv.pc" "$libdir/cmake/nlscnv/nlscnvConfig.cmake" \
         "$libdir/cmake/nlscnv/nlscnvConfigVersion.cmake"; do
  [ -e "$prefix/$f" ] || fail "not installed: $f"
done
[ -d "$prefix/share/nlscnv/conv30" ] || fail "no data directory"
for f in "$source"/data/conv30/*.txt; do
  [ -e "$f" ] || continue
  cmp -s "$f" "$prefix/share/nlscnv/conv30/$(basename "$f")" || fail "registry file $f"
done
for f in "$build"/data/conv30/lib*30.so; do
  [ -e "$f" ] || continue
  [ -e "$prefix/share/nlscnv/conv30/$(basename "$f")" ] || fail "converter library $f"
done
[ "$(readlink "$prefix/$libdir/libnlscnv.so")" = libnlscnv.so.3 ] || fail "development link"
[ "$(readlink "$prefix/$libdir/libnlscnv.so.3")" = libnlscnv.so.3.0.0 ] || fail "SONAME link"
readelf -d "$prefix/$libdir/libnlscnv.so.3.0.0" | grep -q 'SONAME.*\[libnlscnv\.so\.3\]' ||
  fail "SONAME"

# The sample as UCS-2 (little-endian on both targets), from Python's codecs.
sample=$source/data/samples/sample-utf8.txt
python3 -c 'import sys; sys.stdout.buffer.write(open(sys.argv[1], "rb").read().decode("utf-8").encode("utf-16-le"))' \
  "$sample" >"$work/expected.ucs2"
check_example() {  # program, label
  LD_LIBRARY_PATH=$prefix/$libdir "$1" UTF-8 ISO-10646-UCS-2 "$sample" >"$work/$2.ucs2" ||
    fail "$2 did not run"
  cmp -s "$work/$2.ucs2" "$work/expected.ucs2" || fail "$2 converted wrongly"
}

# pkg-config.
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
[ "$(pkg-config --modversion nlscnv)" = 3.0.0 ] || fail "pkg-config version"
# shellcheck disable=SC2046
"$cc" -std=c99 -Wall -Wextra -Werror -o "$work/example-pkgconfig" \
  "$source/examples/convert_file.c" $(pkg-config --cflags --libs nlscnv) ||
  fail "building with pkg-config"
check_example "$work/example-pkgconfig" pkg-config

# find_package.
mkdir -p "$work/consumer"
cat >"$work/consumer/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(nlscnv 3.0 REQUIRED)
add_executable(convert_file "$source/examples/convert_file.c")
target_link_libraries(convert_file PRIVATE nlscnv::nlscnv)
if(NOT EXISTS "\${nlscnv_DATA_DIR}/conv30")
  message(FATAL_ERROR "nlscnv_DATA_DIR: \${nlscnv_DATA_DIR}")
endif()
CMAKE
"$cmake" -S "$work/consumer" -B "$work/consumer/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$cc" >"$work/consumer.log" || fail "find_package (see $work/consumer.log)"
"$cmake" --build "$work/consumer/build" >>"$work/consumer.log" || fail "building with find_package"
check_example "$work/consumer/build/convert_file" find_package
# The version file refuses another major version.
sed -i 's/find_package(nlscnv 3.0 REQUIRED)/find_package(nlscnv 4 REQUIRED)/' \
  "$work/consumer/CMakeLists.txt"
if "$cmake" -S "$work/consumer" -B "$work/consumer/build4" -DCMAKE_PREFIX_PATH="$prefix" \
     >>"$work/consumer.log" 2>&1; then
  fail "find_package(nlscnv 4) accepted version 3"
fi

# The installed nlsconv finds its library and its data directory by itself
# (an alias added to the installed aliasreg.txt must work), from anywhere.
echo "install-test-alias UTF-8" >>"$prefix/share/nlscnv/conv30/aliasreg.txt"
(cd / && env -u QV_NLS_DATADIRECTORY -u LD_LIBRARY_PATH "$prefix/bin/nlsconv" \
   -f install-test-alias -t ISO-10646-UCS-2 "$sample") >"$work/nlsconv.ucs2" ||
  fail "installed nlsconv"
cmp -s "$work/nlsconv.ucs2" "$work/expected.ucs2" || fail "installed nlsconv converted wrongly"
# A converter library from the installed data directory (once it has a
# strict converter).
if "$prefix/bin/nlsconv" -l | grep -q '^Shift_JIS '; then
  python3 -c 'import sys; sys.stdout.buffer.write("日本語のテキスト\n".encode("shift_jis"))' \
    >"$work/sjis.txt"
  [ "$(cd / && env -u QV_NLS_DATADIRECTORY "$prefix/bin/nlsconv" -f Shift_JIS "$work/sjis.txt")" = \
    "日本語のテキスト" ] || fail "installed nlsconv with a converter library"
fi
# A converter library builds out of the tree against the installed headers
# alone (its own folder aside), links against the installed library only,
# and serves conversions once it is in the data directory.
for f in "$prefix"/include/nlscnv/*.h; do
  [ -e "$f" ] || fail "no public converter headers installed"
done
cxx=${cc%gcc}g++
[ -x "$(command -v "$cxx")" ] || cxx=c++
mkdir -p "$work/outside/conv30"
"$cxx" -std=c++17 -O1 -shared -fPIC -Wall -Wextra -Werror -I"$prefix/include" -I"$source/libs" \
  "$source"/libs/korean/*.cpp -L"$prefix/$libdir" -lnlscnv -Wl,--no-undefined \
  -o "$work/outside/conv30/libnlskorean30.so" 2>"$work/outside.log" ||
  fail "a converter library against the installed headers (see $work/outside.log)"
cp "$prefix/share/nlscnv/conv30/"*.txt "$work/outside/conv30/"
python3 -c 'import sys; sys.stdout.buffer.write("한국어 텍스트\n".encode("euc_kr"))' >"$work/euckr.txt"
[ "$(cd / && LD_LIBRARY_PATH=$prefix/$libdir "$prefix/bin/nlsconv" --data-dir="$work/outside" \
     -f EUC-KR "$work/euckr.txt")" = "한국어 텍스트" ] ||
  fail "a converter library built out of the tree"
# ... also when the installed tree has moved.
mv "$prefix" "$work/moved"
(cd / && env -u QV_NLS_DATADIRECTORY "$work/moved/bin/nlsconv" -f install-test-alias \
   "$sample") >"$work/moved.utf8" || fail "moved nlsconv"
cmp -s "$work/moved.utf8" "$sample" || fail "moved nlsconv converted wrongly"
echo "installation checked in $work"
