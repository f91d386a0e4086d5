# SPDX-License-Identifier: Apache-2.0
#
# To be sourced: installs the build and moves the result to $prefix. It must work there, so it must not contain the
# paths of the build.
. "$here/temporary-directory.sh"

"$CMAKE" --install "$BUILD_DIR" --prefix "$work/first" >"$work/install.log"
prefix=$work/moved
mv "$work/first" "$prefix"

if grep -rn -e "$BUILD_DIR" -e "$SOURCE_DIR" -e "$work/first" --include=*.cmake --include=*.pc "$prefix"; then
    echo "the installed package contains paths of the build" >&2
    exit 1
fi
