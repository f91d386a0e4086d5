#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: exported-symbols.sh LIBRARY LIST
#
# A library exports the symbols that LIST names, and no others. Symbols that differ only in their mangling (the
# variants of a constructor, say) are one line.
set -eu
export LC_ALL=C

"$NM" --dynamic --defined-only --demangle "$1" | sed 's/^[0-9a-f]* . //' | sort -u | diff -u "$2" -
