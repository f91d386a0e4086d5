#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: folders.sh [CMAKE-ARGUMENT...]
#
# The same sources give the same installation, byte for byte, in any folder: built twice, with debug information, once
# in a folder with spaces and non-ASCII letters in its name.
set -eu
export LC_ALL=C.UTF-8
unset CMAKE_CXX_COMPILER_LAUNCHER # a compiler cache returns objects that were compiled in another folder
source=$(cd "$(dirname "$0")/../.." && pwd)
. "$source/tests/package/temporary-directory.sh"

first="$work/sources"
second="$work/Quellen – Straße & Äpfel/velmorand register"
for folder in "$first" "$second"; do
    mkdir -p "$folder"
    (cd "$source" && tar c --exclude=./build --exclude=./.git .) | tar x -C "$folder"
done

build() { # FOLDER NAME [CMAKE-ARGUMENT...]
    folder=$1
    name=$2
    shift 2
    cmake -G Ninja -S "$folder" -B "$folder/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELMORAND_BUILD_TESTS=OFF \
        -DVELMORAND_BUILD_EXAMPLES=OFF "$@"
    cmake --build "$folder/build"
    cmake --install "$folder/build" --prefix "$work/$name"
}
build "$first" one "$@"
build "$second" two "$@"

diff -r "$work/one" "$work/two"
if grep -r -l -F -e "$work" "$work/one"; then
    echo "installed files name the folder that they were built in" >&2
    exit 1
fi
