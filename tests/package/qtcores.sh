#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Code for one QtCore does not build with the other: compiling with the installed headers, linking a program and
# configuring with CMake all fail, with a message that gives the reason. Exits with 77 if the other QtCore's development
# files are missing.
set -eu
export LC_ALL=C
here=$(dirname "$0")
other=$((11 - QT_MAJOR))
pkg-config --exists "Qt${other}Core" || exit 77
. "$here/installed.sh"

package=velmorand-register$QT_SUFFIX
settings=velmorand-settings$QT_SUFFIX
libraries=$(dirname "$(find "$prefix" -name 'libvelmorand-exception.so')")
export PKG_CONFIG_PATH="$libraries/pkgconfig"

# fails_saying TEXT COMMAND...: checks that the command fails, and that its output contains the text.
fails_saying() {
    text=$1
    shift
    if "$@" >"$work/output" 2>&1; then
        echo "does not fail: $*" >&2
        exit 1
    fi
    # CMake wraps its messages, so the lines are joined.
    if ! tr -s ' \n' ' ' <"$work/output" | grep -q -F -e "$text"; then
        cat "$work/output"
        echo "does not say \"$text\": $*" >&2
        exit 1
    fi
}

compile() { # QT-MAJOR INCLUDE-DIRECTORY HEADER [FLAG...]
    qt=$1
    includes=$2
    printf '#include <%s>\nint main() {}\n' "$3" >"$work/main.cpp"
    shift 3
    # shellcheck disable=SC2046,SC2086 # flags are words
    "$CXX" $CXXFLAGS -std=c++17 -fPIC "$@" -I"$includes" $(pkg-config --cflags "Qt${qt}Core") \
        -c "$work/main.cpp" -o "$work/main.o"
}

# Compiling with the other QtCore's headers gives one error.
for header in filesystem/DirEntry.h filesystem/Path.h filesystem/RAMFileSystem.h utils/properties/Register.h \
    velmorand/Save.h velmorand/Property.h velmorand/QtTypes.h; do
    compile "$QT_MAJOR" "$prefix/include/$package" "$header"
    fails_saying "these headers of velmorand-register are for QtCore $QT_MAJOR, and the compiler finds another QtCore" \
        compile "$other" "$prefix/include/$package" "$header"
    test "$(grep -c 'error:' "$work/output")" -eq 1
done

# Code compiled with the headers for the other QtCore cannot be linked with the libraries for this one. The linker must
# not drop the reference to the missing symbol, even with options that make it drop unused code.
cp -R "$prefix/include/$package" "$work/other"
find "$work/other" -name QtCore.h -exec sed -i -e "s/_QtCore_$QT_MAJOR/_QtCore_$other/" -e "s/!= $QT_MAJOR/!= $other/" {} +
link() { # HEADER [FLAG...]
    compile "$other" "$work/other" "$@"
    shift
    # shellcheck disable=SC2046,SC2086 # flags are words
    "$CXX" $CXXFLAGS "$@" "$work/main.o" -o "$work/main" \
        $(pkg-config --libs "$settings") "-Wl,-rpath,$libraries"
}
for flags in '-O0' '-O2 -flto' '-O2 -ffunction-sections -fdata-sections -Wl,--gc-sections -Wl,--as-needed' \
    '-fno-exceptions -fno-rtti'; do
    # shellcheck disable=SC2086 # flags are words
    {
        fails_saying "velmorand_filesystem_for_QtCore_$other" link filesystem/Path.h $flags
        fails_saying "velmorand_register_for_QtCore_$other" link utils/properties/Register.h $flags
        fails_saying "velmorand_settings_for_QtCore_$other" link velmorand/Save.h $flags
    }
done
# The same holds for an object in an archive, which the linker includes because the program needs another symbol of it.
compile "$other" "$work/other" velmorand/Save.h -Dmain=start
ar rcs "$work/libstart.a" "$work/main.o"
echo 'extern int start(); int main() { return start(); }' >"$work/starts.cpp"
# shellcheck disable=SC2046,SC2086 # flags are words
fails_saying "velmorand_settings_for_QtCore_$other" "$CXX" $CXXFLAGS "$work/starts.cpp" -o "$work/main" \
    "$work/libstart.a" $(pkg-config --libs "$settings")

# CMake configures a project that finds both QtCores, but not one that links both into one program.
configure() { # PACKAGES LIBRARIES [CMAKE-ARGUMENT...]
    rm -rf "$work/build"
    packages=$1
    linked=$2
    shift 2
    "$CMAKE" -S "$here/mixed" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" "-DPACKAGES=$packages" \
        "-DLIBRARIES=$linked" "$@"
}
configure "$package;Qt$other" velmorand::register
configure "Qt$other;$package" velmorand::register
fails_saying "\"Qt$other::Core\" does not agree with the value of QT_MAJOR_VERSION" \
    configure "$package;Qt$other" "velmorand::register;Qt$other::Core"
fails_saying "\"velmorand::register\" does not agree with the value of QT_MAJOR_VERSION" \
    configure "$package;Qt$other" "Qt$other::Core;velmorand::register"

# The CMake package of the other build. Its targets file is left out, because the package fails before including it.
"$CMAKE" -S "$SOURCE_DIR" -B "$work/other-build" -DVELMORAND_QT_MAJOR="$other" -DVELMORAND_BUILD_TESTS=OFF \
    -DVELMORAND_BUILD_EXAMPLES=OFF -DVELMORAND_BUILD_TOOLS=OFF -DVELMORAND_BUILD_READERS=OFF >/dev/null
other_package=velmorand-register
[ "$other" -eq 5 ] || other_package=velmorand-register-qt$other
mkdir "$libraries/cmake/$other_package"
cp "$work/other-build/$other_package"-config*.cmake "$libraries/cmake/$other_package"
fails_saying "$other_package is for QtCore $other, but velmorand::register for QtCore $QT_MAJOR is in this project already" \
    configure "$package;$other_package" velmorand::register

# Once QtCore 5 has defined Qt::Core, a project cannot find QtCore 6.
fails_saying "velmorand-register-qt6 is for QtCore 6, but this project has found QtCore 5" \
    configure "Qt5;velmorand-register-qt6" velmorand::register -DVERSIONLESS=ON
