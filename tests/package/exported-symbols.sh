#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: exported-symbols.sh LIBRARY LIST
#
# Checks that a library exports the symbols in LIST, with their versions, and no others. Symbols that differ only in
# their mangling, such as the variants of a constructor, share a line. A symbol marked "(optional)" may be missing:
# every module that uses it contains a copy, and an optimisation of the whole library can drop the library's copy.
# Functions of the standard library that return a pointer or a reference to one of the library's types are ignored:
# without optimisation, clang does not inline them, and the return type matches a pattern of exports.map.
#
# LIST is for QtCore 5 and 64 bits. With QtCore 6, the symbol that identifies the QtCore has another name, and so have
# the version nodes of libraries with that symbol. On 32 bits, sizes and wide integers have other types. These
# differences are ignored.
set -eu
export LC_ALL=C

names="s/_for_QtCore_$QT_MAJOR@@/_for_QtCore_5@@/"
if [ "$(od -A n -t u1 -j 4 -N 1 "$1" | tr -d ' ')" = 1 ]; then # the ELF file's class: 32 bits
    names="$names; s/unsigned (int|long long)/unsigned long/g; s/long long/long/g; s/([0-9])ll/\1l/g"
fi
nodes=
if [ "$QT_MAJOR" -ne 5 ] && grep -q _for_QtCore_ "$2"; then
    nodes="; s/(^|@@)VELMORAND_/\1VELMORAND_QT${QT_MAJOR}_/"
fi
list=$(mktemp)
trap 'rm -f "$list"' EXIT
sed -E "$names$nodes" "$2" | sort -u >"$list"
# LLVM's nm does not decode names with a version, and gives the nodes themselves a version.
"$NM" --dynamic --defined-only "$1" | c++filt | sed -E "s/^[0-9a-f]* . //; s/^(.*)@@\1\$/\1/; /^[^(]*[*&] std::/d; $names" |
    awk 'NR == FNR && sub(/^\(optional\) /, "") { optional[$0]; print "(optional) " $0 } NR > FNR && !($0 in optional)' "$list" - |
    sort -u | diff -u "$list" -
