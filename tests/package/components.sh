#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: components.sh LIBRARY-DIRECTORY [tool] [import]
#
# Each install component contains its own files and no others, and together they are the whole installation. The
# libraries are in LIBRARY-DIRECTORY. The build has the named components in addition to those of the libraries.
set -eu
export LC_ALL=C
. "$(dirname "$0")/temporary-directory.sh"

installed_files() { # DIRECTORY [INSTALL-ARGUMENT...]
    into=$work/$1
    shift
    "$CMAKE" --install "$BUILD_DIR" --prefix "$into" "$@" >"$work/install.log"
    (cd "$into" && find . ! -type d | sed 's,^\./,,' | sort)
}

# has_only COMPONENT PATTERN...: the component has files of each pattern and no others.
has_only() {
    component=$1
    shift
    installed_files "$component" --component "$component" >"$work/$component.files"
    cp "$work/$component.files" "$work/rest"
    for pattern in "$@"; do
        grep -q -x -e "$pattern" "$work/$component.files" || {
            echo "$component has no file that matches $pattern" >&2
            exit 1
        }
        grep -v -x -e "$pattern" "$work/rest" >"$work/less" || true
        mv "$work/less" "$work/rest"
    done
    if [ -s "$work/rest" ]; then
        echo "$component has files that do not belong to it:" >&2
        cat "$work/rest" >&2
        exit 1
    fi
    cat "$work/$component.files" >>"$work/components"
}

directory=$1
shift
library="$directory/libvelmorand-[a-z]*$QT_SUFFIX\.so"
exception="$directory/libvelmorand-exception\.so"
version='\.[0-9][0-9.]*'
has_only library "$exception$version" "$library$version"
has_only development "$exception" "$library" "include/velmorand-register$QT_SUFFIX/.*\.h" \
    "$directory/cmake/velmorand-register$QT_SUFFIX/.*" "$directory/pkgconfig/velmorand-[a-z]*$QT_SUFFIX\.pc"
for optional in "$@"; do
    case $optional in
    tool)
        has_only tool bin/velmorand-register share/man/man1/velmorand-register.1 \
            share/bash-completion/completions/velmorand-register
        ;;
    import) has_only import "$directory/velmorand-register/import-[a-z]*" ;;
    esac
done
sort "$work/components" >"$work/together"
installed_files whole | diff -u "$work/together" -
