#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: exported-symbols.sh LIBRARY LIST
#
# A library exports the symbols that LIST names, and no others. Symbols that differ only in their mangling (the
# variants of a constructor, say) are one line. LIST is for QtCore 5: the symbol that stands for it has another name in a
# build with QtCore 6.
set -eu
export LC_ALL=C

"$NM" --dynamic --defined-only --demangle "$1" | sed 's/^[0-9a-f]* . //' | sort -u | sed "s/_for_QtCore_$QT_MAJOR\$/_for_QtCore_5/" |
    diff -u "$2" -
