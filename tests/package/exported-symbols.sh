#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: exported-symbols.sh LIBRARY LIST
#
# A library exports the symbols that LIST names, with their versions, and no others. Symbols that differ only in their
# mangling (the variants of a constructor, say) are one line. A symbol marked with "(optional)" may be missing: every
# module that uses it has its own copy, and a build that optimises all of a library together leaves it out. LIST is for
# QtCore 5: the symbol that stands for it has another name in a build with QtCore 6.
set -eu
export LC_ALL=C

"$NM" --dynamic --defined-only --demangle "$1" |
    sed "s/^[0-9a-f]* . //; s/_for_QtCore_$QT_MAJOR@@/_for_QtCore_5@@/" |
    awk 'NR == FNR && sub(/^\(optional\) /, "") { optional[$0]; print "(optional) " $0 } NR > FNR && !($0 in optional)' "$2" - |
    sort -u | diff -u "$2" -
