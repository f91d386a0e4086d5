#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# A separate project finds the installed package with find_package, builds with it and runs.
set -eu
here=$(dirname "$0")
. "$here/installed.sh"

"$CMAKE" -S "$here/consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DPACKAGE="velmorand-register$QT_SUFFIX" -DCMAKE_CXX_FLAGS="$CXXFLAGS -DQT_MAJOR=$QT_MAJOR"
"$CMAKE" --build "$work/build"

mkdir "$work/settings"
"$work/build/consumer" "$work/settings"
test -s "$work/settings/Velmorand.dat"
# The tool, if it is built, finds its libraries in the same prefix.
if [ -e "$prefix/bin/velmorand-register" ]; then
    env -u LD_LIBRARY_PATH "$prefix/bin/velmorand-register" check "$work/settings"
fi
