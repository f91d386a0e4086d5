#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: readme-example.sh PROGRAM EXPECTED-OUTPUT
set -eu
. "$(dirname "$0")/temporary-directory.sh"

cd "$work"

"$1" | diff -u "$2" -
[ -s user/Velmorand.dat ]
