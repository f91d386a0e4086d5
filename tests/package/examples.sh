#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: examples.sh {PROGRAM EXPECTED-OUTPUT}...
#
# Runs programs one after the other in one fresh directory; each prints what is expected. In the end the user's settings
# are saved there.
set -eu
. "$(dirname "$0")/temporary-directory.sh"

cd "$work"
test $# -ge 2
while [ $# -gt 0 ]; do
    "$1" | diff -u "$2" -
    shift 2
done
test -s user/Velmorand.dat
