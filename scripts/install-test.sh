#!/usr/bin/env bash
# Installs a built tree into a temporary prefix, moves the prefix elsewhere (the installation is
# relocatable), and uses it as an outside project would: a consumer built with find_package and
# one built with a plain pkg-config command line, each run on the installed data; the installed
# qnu run likewise. Also checks what was installed: the library of the tree's kind (a shared
# one with its soname), only the public headers, only the data files the library reads.
#   usage: scripts/install-test.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:?usage: scripts/install-test.sh BUILD_DIR}")
source_dir=$PWD
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "install-test ($build): $*" >&2
  exit 1
}

cmake --install "$build" --prefix "$work/staged" >/dev/null
mv "$work/staged" "$work/prefix"
prefix=$work/prefix
libdir=$(dirname "$(find "$prefix" -name qnunicode.pc -print -quit)")
libdir=${libdir%/pkgconfig}
[[ -d $libdir ]] || fail "no qnunicode.pc installed"

# The library of the configured kind, and nothing of the other.
kind=$(sed -n 's/^BUILD_SHARED_LIBS:BOOL=//p' "$build/CMakeCache.txt")
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
if [[ $kind == ON ]]; then
  [[ ! -e $libdir/libqnunicode.a ]] || fail "a shared build installed libqnunicode.a"
  [[ -f $libdir/libqnunicode.so.$version ]] || fail "no libqnunicode.so.$version"
  soname=$(objdump -p "$libdir/libqnunicode.so.$version" | awk '$1 == "SONAME" {print $2}')
  [[ $soname == libqnunicode.so.${version%.*} ]] || fail "soname '$soname'"
  [[ -L $libdir/$soname && -L $libdir/libqnunicode.so ]] || fail "missing library links"
else
  [[ -f $libdir/libqnunicode.a ]] || fail "no libqnunicode.a"
  [[ -z $(find "$libdir" -name 'libqnunicode.so*') ]] || fail "a static build installed a .so"
fi

# Exactly the public headers of the list, and the data files of the list.
cat >"$work/list.cmake" <<EOF
include("$source_dir/cmake/QNUnicodeInstall.cmake")
foreach(header IN LISTS QNUNICODE_PUBLIC_HEADERS)
  message(NOTICE "\${header}")
endforeach()
EOF
listed=$(cmake -P "$work/list.cmake" 2>&1 | sort)
installed=$(cd "$prefix/include/qnunicode" && find . -type f | sed 's|^\./||' | sort)
[[ $installed == "$listed" ]] ||
  fail "installed headers differ from the list: $(diff <(echo "$installed") <(echo "$listed") || true)"
ucd=$prefix/share/qnunicode/ucd
for unread in BidiTest.txt allkeys.txt EastAsianWidth.txt; do
  [[ ! -e $ucd/$unread ]] || fail "installed $unread, which the library never reads"
done
[[ $(find "$ucd/Unihan" -name 'Unihan_*.txt' | wc -l) == 8 ]] || fail "the Unihan files are missing"

expected="LATIN SMALL LETTER E WITH ACUTE Ll Latin-1 Supplement 2"
export LD_LIBRARY_PATH=$libdir  # the pkg-config consumer of a shared library, at run time only

# find_package: the package names its data directories, wherever the prefix now lies.
cmake -S scripts/consumer -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/cmake-consumer" >/dev/null
mapfile -t directories <"$work/cmake-consumer/data-directories"
[[ ${directories[0]} -ef $ucd ]] || fail "QNUnicode_UCD_DIR is '${directories[0]}'"
got=$(env -u LD_LIBRARY_PATH "$work/cmake-consumer/consumer" "${directories[@]}")
[[ $got == "$expected" ]] || fail "the find_package consumer printed '$got'"

# pkg-config: the plain --cflags --libs line, no --static, and the data directory it names.
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
c++ -std=c++20 -Wall -Wextra -Werror scripts/consumer/main.cpp -o "$work/pc-consumer" \
  $(pkg-config --cflags --libs qnunicode)
pc_ucd=$(pkg-config --variable=ucddir qnunicode)
[[ $pc_ucd -ef $ucd ]] || fail "pkg-config's ucddir is '$pc_ucd'"
got=$("$work/pc-consumer" "$pc_ucd" "$(pkg-config --variable=resourcedir qnunicode)/descriptions")
[[ $got == "$expected" ]] || fail "the pkg-config consumer printed '$got'"

# The installed host finds its data and (shared) its library beside itself.
got=$(env -u LD_LIBRARY_PATH "$prefix/bin/qnu" inspect é | sed -n 's/^  Name  *//p')
[[ $got == "LATIN SMALL LETTER E WITH ACUTE" ]] || fail "the installed qnu printed '$got'"
if [[ $kind == ON ]]; then
  used=$(env -u LD_LIBRARY_PATH ldd "$prefix/bin/qnu" | awk '$1 ~ /^libqnunicode/ {print $3}')
  [[ $used -ef $libdir/$soname ]] || fail "the installed qnu uses '$used'"
fi
env -u LD_LIBRARY_PATH "$prefix/bin/qnu" data >/dev/null || fail "the installed qnu data failed"
echo "install-test ($build): the $([[ $kind == ON ]] && echo shared || echo static) installation works"
