#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: exchange.sh CASE THIS OTHER
#
# Two machines write the same register file, byte for byte, and can read each other's. THIS and OTHER are the program
# `exchange`, built for the two machines.
set -eu

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
mkdir "$directory/this" "$directory/other"

case $1 in
WritesTheSameBytes)
    "$2" write "$directory/this"
    "$3" write "$directory/other"
    cmp "$directory/this/Velmorand.dat" "$directory/other/Velmorand.dat"
    ;;
ReadsTheOthersFile)
    "$3" write "$directory/other"
    "$2" check "$directory/other"
    ;;
IsReadByTheOther)
    "$2" write "$directory/this"
    "$3" check "$directory/this"
    ;;
*) exit 2 ;;
esac
