# SPDX-License-Identifier: Apache-2.0
#
# For scripts/abi and changes.sh: reads the interface of a library from its debug information.
CXX=${CXX:-g++}
baselines=$(dirname "$(realpath "$interface")")

# Exits with 77 except on the platform of the baselines.
require_platform() {
    case "$($CXX -dumpmachine) $($CXX -dumpfullversion)" in
    "x86_64-linux-gnu 12."*) ;;
    *)
        echo "skipped: the baselines are those of g++ 12 on x86_64" >&2
        exit 77
        ;;
    esac
    if ! command -v abidw >/dev/null; then
        echo "skipped: abidw is missing (the package abigail-tools)" >&2
        exit 77
    fi
}

# Builds a library of everything that the public headers compile into programs.
build_headers() { # SOURCE-DIRECTORY GENERATED-HEADERS LIBRARY
    $CXX -std=c++17 -g -femit-class-debug-always -fPIC -fvisibility=hidden -shared \
        -I"$1/include" -I"$1/platform/exception/include" -I"$1/platform/filesystem/include" -I"$1/settings/include" \
        -I"$2" $(pkg-config --cflags Qt5Core) "$baselines/Headers.cpp" -Wl,--version-script="$baselines/headers.map" -o "$3"
}

# Writes the interface of a library without its copies of symbols that every module has, and without source paths.
write_interface() { # LIBRARY
    abidw --suppressions "$baselines/public-types.suppr" --exported-interfaces-only --type-id-style hash \
        --no-corpus-path --no-comp-dir-path --no-elf-needed --no-show-locs "$1" |
        sed -e "/<elf-symbol name='_ZT[ISV]N5utils10properties[0-9]*Property/d" -e "s|path='[^']*/|path='|"
}
