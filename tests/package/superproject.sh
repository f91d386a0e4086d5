#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: superproject.sh EXCEPTION-LIBRARY FILESYSTEM-LIBRARY
#
# A superproject that defines velmorand::exception and velmorand::filesystem adds this project's directory, which then
# builds neither of them, and builds shared libraries even if the superproject's are static. The superproject's file
# system lacks Direct.h, but the include path has an unrelated header of that name, which must not be used. The
# superproject decides which deprecated parts of QtCore it sees.
set -eu
here=$(dirname "$0")
. "$here/temporary-directory.sh"

cp -R "$SOURCE_DIR/platform/filesystem/include" "$work/include"
echo '// knows nothing of other QtCores' >"$work/include/filesystem/QtCore.h"
rm "$work/include/filesystem/Direct.h"
mkdir -p "$work/elsewhere/filesystem"
echo '#error "the header of another file system"' > "$work/elsewhere/filesystem/Direct.h"

"$CMAKE" -S "$here/superproject" -B "$work/build" \
    -DCMAKE_CXX_FLAGS="$CXXFLAGS -DQT_MAJOR=$QT_MAJOR -DQT_DISABLE_DEPRECATED_BEFORE=0x050F00 -isystem $work/elsewhere" \
    -DBUILD_SHARED_LIBS=OFF -DVELMORAND_QT_MAJOR="$QT_MAJOR" -DREGISTER_DIR="$SOURCE_DIR" \
    -DFILESYSTEM_INCLUDES="$work/include" -DEXCEPTION_LIBRARY="$1" -DFILESYSTEM_LIBRARY="$2"
"$CMAKE" --build "$work/build" --parallel 2
# The program needs the symbol for its QtCore, so it cannot be linked with libraries for another one.
"$NM" --dynamic "$work/build/consumer" | grep -q -w "velmorand_register_for_QtCore_$QT_MAJOR"

mkdir "$work/settings"
"$work/build/consumer" "$work/settings"
test -s "$work/settings/Velmorand.dat"
