#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: superproject.sh EXCEPTION-LIBRARY FILESYSTEM-LIBRARY
#
# A superproject defines velmorand::exception and velmorand::filesystem, and adds this project's directory. This project
# must then build neither of them, and must build shared libraries even if those of the superproject are static. The
# superproject's file system lacks Direct.h; an unrelated header of that name on the include path must not be used. The
# superproject chooses the deprecated parts of QtCore that its code may use.
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
