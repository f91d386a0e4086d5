#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: packages.sh LIBRARY-DIRECTORY MAJOR-VERSION VERSION TOOL [STORE]...
#
# cpack makes the Debian packages, each with the files that belong into it and no others, so that no file is in two. The
# libraries lie in LIBRARY-DIRECTORY; TOOL says whether there is a command-line tool (1 or 0). Settings of the
# STOREs can be imported by programs of their own.
set -eu
export LC_ALL=C
. "$(dirname "$0")/temporary-directory.sh"

libraries=usr/$1
major=$2
version=$3
tool=$4
shift 4

"$CPACK" --config "$BUILD_DIR/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 || {
    cat "$work/cpack.log"
    exit 1
}

library=libvelmorand-register$major
development=libvelmorand-register-dev

documents() { # PACKAGE
    printf "usr/share/doc/$1/%s\n" changelog.Debian.gz changelog.gz copyright
}

each_library() { # FORMAT
    for name in exception filesystem register settings; do
        # shellcheck disable=SC2059 # the format is the argument
        printf "$libraries/libvelmorand-$1\n" "$name"
    done
}

{
    documents "$library"
    each_library "%s.so.$major"
    each_library "%s.so.$version"
} | sort >"$work/$library.expected"

{
    documents "$development"
    each_library "%s.so"
    for root in include platform/exception/include platform/filesystem/include settings/include; do
        (cd "$SOURCE_DIR/$root" && find . -name '*.h' | sed 's,^\.,usr/include/velmorand-register,')
    done
    for name in config config-version targets "targets-$(echo "$BUILD_TYPE" | tr A-Z a-z)"; do
        echo "$libraries/cmake/velmorand-register/velmorand-register-$name.cmake"
    done
    echo "$libraries/pkgconfig/velmorand-register.pc"
    echo "$libraries/pkgconfig/velmorand-settings.pc"
} | sort >"$work/$development.expected"

if [ "$tool" -eq 1 ]; then
    {
        documents velmorand-register
        echo usr/bin/velmorand-register
        echo usr/share/bash-completion/completions/velmorand-register
        echo usr/share/man/man1/velmorand-register.1
    } | sort >"$work/velmorand-register.expected"
fi

if [ $# -gt 0 ]; then
    {
        documents velmorand-register-import
        printf "$libraries/velmorand-register/import-%s\n" "$@"
    } | sort >"$work/velmorand-register-import.expected"
fi

contents() { # DEB
    dpkg-deb --fsys-tarfile "$1" | tar t | grep -v '/$' | sed 's,^\./,,' | sort
}

made=0
for deb in "$work"/*.deb; do
    package=$(dpkg-deb -f "$deb" Package)
    contents "$deb" | diff -u "$work/$package.expected" -
    made=$((made + 1))
    dpkg-deb -f "$deb" Depends | tr , '\n' | sed 's/^ *//' >"$work/$package.depends"
    if [ "$package" != "$library" ]; then
        grep -q -x "$library (= $(dpkg-deb -f "$deb" Version))" "$work/$package.depends"
    fi
done
test "$made" -eq $((2 + tool + ($# > 0)))

grep -q '^libqt[56]core' "$work/$library.depends"
grep -q '^libcbor' "$work/$library.depends"
grep -q -x libboost-thread-dev "$work/$development.depends"
grep -q "^qt.*base.*-dev" "$work/$development.depends"

deb=$(echo "$work/$library"_*.deb)
dpkg-deb -I "$deb" triggers | grep -q -x 'activate-noawait ldconfig'
dpkg-deb -I "$deb" shlibs | grep -q "^libvelmorand-register $major $library (>= "
