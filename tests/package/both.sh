#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: both.sh BUILD-FOR-QTCORE-5 BUILD-FOR-QTCORE-6
#
# Both builds can be installed in the same place. An application can be built with either of them, and runs. Code
# compiled for one cannot be linked with the other. If a program for QtCore 5 uses a shared library for QtCore 6, the
# program and the library have separate registers.
set -eu
export LC_ALL=C
here=$(cd "$(dirname "$0")" && pwd)
. "$here/temporary-directory.sh"

# The tool is left out, because both builds install it under the same name.
for build in "$1" "$2"; do
    for component in library development; do
        cmake --install "$build" --prefix "$work/prefix" --component $component >"$work/install.log"
    done
done
libraries=$(dirname "$(find "$work/prefix" -name libvelmorand-exception.so)")
export PKG_CONFIG_PATH="$libraries/pkgconfig"

# shellcheck disable=SC2046 # flags are words
for qt in 5 6; do
    suffix=
    [ $qt -eq 5 ] || suffix=-qt$qt
    c++ -std=c++17 -DQT_MAJOR=$qt -c "$here/consumer/main.cpp" -o "$work/consumer$qt.o" \
        $(pkg-config --cflags "velmorand-settings$suffix")
    c++ "$work/consumer$qt.o" -o "$work/consumer$qt" $(pkg-config --libs "velmorand-settings$suffix")
    mkdir "$work/settings$qt"
    LD_LIBRARY_PATH=$libraries "$work/consumer$qt" "$work/settings$qt"
    test -s "$work/settings$qt/Velmorand.dat"
    # The program must load only the libraries for its QtCore.
    if LD_LIBRARY_PATH=$libraries ldd "$work/consumer$qt" | grep -q "libQt$((11 - qt))Core"; then
        echo "consumer$qt is linked with both QtCores" >&2
        exit 1
    fi
done
cmp "$work/settings5/Velmorand.dat" "$work/settings6/Velmorand.dat"

# shellcheck disable=SC2046 # flags are words
crossed() { # QT-MAJOR PACKAGE
    if c++ "$work/consumer$1.o" -o "$work/crossed" $(pkg-config --libs "$2") 2>"$work/errors"; then
        echo "code compiled for QtCore $1 can be linked with $2" >&2
        exit 1
    fi
    grep -q "undefined reference to .velmorand_register_for_QtCore_$1'" "$work/errors"
}
crossed 5 velmorand-settings-qt6
crossed 6 velmorand-settings

# shellcheck disable=SC2046 # flags are words
{
    c++ -std=c++17 -fvisibility=hidden -shared "$here/both/library.cpp" -o "$work/libboth.so" -Wl,-z,defs \
        $(pkg-config --cflags --libs velmorand-settings-qt6)
    c++ -std=c++17 -c "$here/both/program.cpp" -o "$work/program.o" $(pkg-config --cflags velmorand-settings)
    c++ "$work/program.o" -o "$work/opens" $(pkg-config --libs velmorand-settings)
    c++ "$work/program.o" -o "$work/linked" -L"$work" -Wl,--no-as-needed -lboth -Wl,--as-needed \
        $(pkg-config --libs velmorand-settings) "-Wl,-rpath-link,$libraries"
}
together() { # PROGRAM [LIBRARY]
    program=$1
    shift
    rm -rf "$work/program" "$work/library"
    mkdir "$work/program" "$work/library"
    LD_LIBRARY_PATH=$libraries:$work "$work/$program" "$work/program" "$work/library" "$@"
    # The program and the library have each saved their own register.
    for part in program library; do
        test -s "$work/$part/Velmorand.dat"
    done
    if cmp -s "$work/program/Velmorand.dat" "$work/library/Velmorand.dat"; then
        echo "$program: both have saved the same register" >&2
        exit 1
    fi
}
together opens "$work/libboth.so"
together linked
