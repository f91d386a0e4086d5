#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: examples.sh PLUGIN... {PROGRAM EXPECTED-OUTPUT}...
#
# Runs programs one after the other in a fresh directory, into which the plug-ins (*.so) are copied. Each must print the
# expected output. At the end, the user's settings must be saved there.
set -eu
. "$(dirname "$0")/temporary-directory.sh"

cd "$work"
while [ "${1%.so}" != "$1" ]; do
    cp "$1" .
    shift
done
test $# -ge 2
while [ $# -gt 0 ]; do
    "$1" | diff -u "$2" -
    shift 2
done
test -s user/Velmorand.dat
