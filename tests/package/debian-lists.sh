#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: debian-lists.sh LIBRARY-DIRECTORY
#
# Each file that the build installs, with its libraries in LIBRARY-DIRECTORY, is in the list of exactly one Debian
# package.
set -eu
export LC_ALL=C
. "$(dirname "$0")/temporary-directory.sh"

"$CMAKE" --install "$BUILD_DIR" --prefix "$work/first/usr" >"$work/install.log"
# The lists have a directory for the architecture.
mkdir -p "$work/tree/usr/lib"
mv "$work/first/usr/$1" "$work/tree/usr/lib/architecture"
cp -R "$work/first/usr" "$work/tree"
cd "$work/tree"
find . ! -type d | sed 's,^\./,,' | sort >"$work/installed"
test -s "$work/installed"
cat "$SOURCE_DIR"/debian/*.install | while read -r pattern; do
    for listed in $pattern; do
        find "$listed" ! -type d 2>/dev/null || true # the build for the other QtCore installs it
    done
done | sort | diff -u "$work/installed" -
