#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: superproject.sh EXCEPTION-LIBRARY FILESYSTEM-LIBRARY
#
# A superproject that has the targets velmorand::exception and velmorand::filesystem adds this project's directory,
# which then makes neither.
set -eu
here=$(dirname "$0")
. "$here/temporary-directory.sh"

"$CMAKE" -S "$here/superproject" -B "$work/build" -DCMAKE_CXX_FLAGS="$CXXFLAGS -DQT_MAJOR=$QT_MAJOR" \
    -DVELMORAND_QT_MAJOR="$QT_MAJOR" -DREGISTER_DIR="$SOURCE_DIR" -DEXCEPTION_LIBRARY="$1" -DFILESYSTEM_LIBRARY="$2"
"$CMAKE" --build "$work/build" --parallel 2

mkdir "$work/settings"
"$work/build/consumer" "$work/settings"
test -s "$work/settings/Velmorand.dat"
