#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: tests/package/packages.sh
#
# Builds the Debian packages as a distribution does, from the source package that `scripts/package --source` leaves in
# build/package, and checks:
#
#   - their files, dependencies and hardening, also with lintian and blhc
#   - that a second build, in another directory, gives the same bytes
#   - that programs can be built with the development packages, and run
#   - that removing the packages leaves nothing behind
#
# Everything is built, installed and run without the network, in chroots with a minimal Debian 12 and the packages'
# dependencies. They need 6 GB in /tmp during the run.
#
# Needs root, and the packages of the group `packages` of scripts/install-packages. Prints a line for each check; the
# exit status is 0 if all pass.
set -eu
export LC_ALL=C.UTF-8
cd "$(dirname "$0")/../.."
sources=$PWD

suite=bookworm
triplet=$(dpkg-architecture -q DEB_HOST_MULTIARCH)
version=$(dpkg-parsechangelog -S Version)
upstream=${version%-*}

work=$(mktemp -d /tmp/velmorand-packages-XXXXXX)
trap 'rm -rf --one-file-system "$work"' EXIT
builder=$work/builder
first=/build/first
second='/build/übung pfad'
packages=$builder$first
failed=0

# Runs a function as a check, which fails at the function's first failing command. The function must not run in a
# condition, where the shell would ignore such a failure.
check() { # NAME FUNCTION [ARGUMENT...]
    name=$1
    shift
    start=$(date +%s)
    status=0
    (
        set -e
        "$@"
    ) >"$work/log" 2>&1 &
    wait $! || status=$?
    if [ "$status" -eq 0 ]; then
        echo "ok: $name ($(($(date +%s) - start)) s)"
    else
        cat "$work/log"
        echo "FAILED: $name"
        failed=1
    fi
}

# Runs a check that the other checks need; exits if it fails.
need() { # NAME FUNCTION [ARGUMENT...]
    check "$@"
    [ "$failed" -eq 0 ] || exit 1
}

new_chroot() { # NAME
    cp -a "$work/minimal" "$work/$1"
}

# Runs a command in a chroot, with a clean environment and, unless $network is set, without the network.
in_chroot() { # CHROOT COMMAND...
    root=$1
    shift
    # shellcheck disable=SC2016 # the inner shell's arguments
    unshare ${network:---net} --mount --pid --fork --kill-child sh -ec '
        mount -t proc proc "$1/proc"
        mount -t tmpfs -o mode=1777 tmpfs "$1/dev/shm"
        exec chroot "$@"' sh "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/nonexistent LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive "$@"
}

apt() { # CHROOT COMMAND...
    root=$1
    shift
    (
        network=--mount # a placeholder: unshared in any case
        in_chroot "$root" apt-get -y --no-install-recommends "$@"
    )
}

minimal_system() {
    # shellcheck disable=SC2016 # apt's placeholder
    mirror=$(apt-get indextargets --format '$(REPO_URI)' "Codename: $suite" 'Created-By: Packages' | head -n 1)
    debootstrap --variant=buildd "$suite" "$work/minimal" "$mirror"
    apt "$work/minimal" update
}

build_dependencies() {
    new_chroot builder
    mkdir "$builder/build"
    cp build/package/*.dsc "$builder/build"
    apt "$builder" build-dep "/build/velmorand-register_$version.dsc"
}

build() { # DIRECTORY [NAME=VALUE...]
    directory=$1
    shift
    mkdir "$builder$directory"
    cp build/package/* "$builder$directory"
    chown -R 1000:1000 "$builder$directory"
    # shellcheck disable=SC2016 # the inner shell's argument
    in_chroot "$builder" setpriv --reuid=1000 --regid=1000 --clear-groups env "$@" sh -ec '
        cd "$1"
        dpkg-source -x ./*.dsc
        cd velmorand-register-*/
        dpkg-buildpackage -us -uc' sh "$directory"
}

# Builds the packages and runs the tests. blhc reads the log of this build.
first_build() {
    build "$first" >"$work/build.log" 2>&1 || {
        cat "$work/build.log"
        return 1
    }
}

# Builds in another directory, at another time, with another time zone, locale and umask, and without tests.
second_build_is_the_same() {
    umask 002
    build "$second" DEB_BUILD_OPTIONS=nocheck TZ=Asia/Kathmandu LC_ALL=C
    for deb in "$packages"/*.deb; do
        cmp "$deb" "$builder$second/${deb##*/}"
    done
}

each_library() { # FORMAT SUFFIX
    for name in filesystem register settings; do
        # shellcheck disable=SC2059 # the format is the argument
        printf "usr/lib/$triplet/libvelmorand-$name$2.$1\n"
    done
}

development_files() { # SUFFIX
    each_library so "$1"
    for root in include platform/exception/include platform/filesystem/include settings/include; do
        (cd "$sources/$root" && find . -name '*.h' | sed "s,^\.,usr/include/velmorand-register$1,")
    done
    printf "usr/include/velmorand-register$1/%s/QtCore.h\n" filesystem utils/properties velmorand
    for name in config config-version targets targets-release; do
        echo "usr/lib/$triplet/cmake/velmorand-register$1/velmorand-register$1-$name.cmake"
    done
    echo "usr/lib/$triplet/pkgconfig/velmorand-register$1.pc"
    echo "usr/lib/$triplet/pkgconfig/velmorand-settings$1.pc"
}

# The files that a package must contain; for the documentation package, only some of them.
expected_files() { # PACKAGE
    case $1 in
    libvelmorand-exception1) printf "usr/lib/$triplet/libvelmorand-exception.so.%s\n" 1 "$upstream" ;;
    libvelmorand-exception-dev) echo "usr/lib/$triplet/libvelmorand-exception.so" ;;
    libvelmorand-register1) each_library so.1 '' && each_library "so.$upstream" '' ;;
    libvelmorand-register-qt6-1) each_library so.1 -qt6 && each_library "so.$upstream" -qt6 ;;
    libvelmorand-register-dev) development_files '' ;;
    libvelmorand-register-qt6-dev) development_files -qt6 ;;
    velmorand-register)
        echo usr/bin/velmorand-register
        echo usr/share/bash-completion/completions/velmorand-register
        echo usr/share/man/man1/velmorand-register.1.gz
        ;;
    velmorand-register-import) printf "usr/lib/$triplet/velmorand-register/import-%s\n" dconf kconfig ;;
    velmorand-register-doc)
        echo usr/share/doc-base/velmorand-register-doc.velmorand-register-guide
        echo usr/share/doc-base/velmorand-register-doc.velmorand-register-reference
        printf "usr/share/doc/velmorand-register/html/%s\n" README.html api/index.html docs/guide.html \
            examples/text-editor/main.cpp
        ;;
    esac
    printf "usr/share/doc/$1/%s\n" changelog.Debian.gz changelog.gz copyright
    [ ! -e "debian/$1.lintian-overrides" ] || echo "usr/share/lintian/overrides/$1"
}

all_packages="libvelmorand-exception-dev libvelmorand-exception1 libvelmorand-register-dev \
libvelmorand-register-qt6-1 libvelmorand-register-qt6-dev libvelmorand-register1 velmorand-register \
velmorand-register-doc velmorand-register-import"

archive() { # PACKAGE
    echo "$packages/${1}_${version}"_*.deb
}

files_are_as_expected() {
    # shellcheck disable=SC2086 # the packages are words
    printf '%s\n' $all_packages >"$work/expected"
    for deb in "$packages"/*.deb; do
        dpkg-deb -f "$deb" Package
    done | sort >"$work/found"
    # Each package with programs or libraries has a package of debug symbols.
    {
        cat "$work/expected"
        printf '%s-dbgsym\n' libvelmorand-exception1 libvelmorand-register1 libvelmorand-register-qt6-1 \
            velmorand-register velmorand-register-import
    } | sort | diff -u - "$work/found"
    for package in $all_packages; do
        expected_files "$package" | sort >"$work/expected"
        dpkg-deb --fsys-tarfile "$(archive "$package")" | tar t | grep -v '/$' | sed 's,^\./,,' | sort >"$work/found"
        if [ "$package" = velmorand-register-doc ]; then
            comm -12 "$work/expected" "$work/found" >"$work/both"
            mv "$work/both" "$work/found"
        fi
        diff -u "$work/expected" "$work/found"
    done
}

# Each development package depends only on its library, and on the packages with the headers that its own headers
# include.
dependencies_are_as_expected() {
    check_depends() { # PACKAGE DEPENDENCY...
        package=$1
        shift
        dpkg-deb -f "$(archive "$package")" Depends | sed 's/, /\n/g' | sort >"$work/found"
        printf '%s\n' "$@" | sort | diff -u - "$work/found"
    }
    check_depends libvelmorand-exception-dev "libvelmorand-exception1 (= $version)"
    check_depends libvelmorand-register-dev "libboost-dev (>= 1.74)" "libvelmorand-exception-dev (= $version)" \
        "libvelmorand-register1 (= $version)" "qtbase5-dev (>= 5.15)"
    check_depends libvelmorand-register-qt6-dev "libboost-dev (>= 1.74)" "libvelmorand-exception-dev (= $version)" \
        "libvelmorand-register-qt6-1 (= $version)" "qt6-base-dev (>= 6.2)"
    dpkg-deb -f "$(archive libvelmorand-register1)" Depends | grep 'libqt5core' | grep -v 'libqt6'
    dpkg-deb -f "$(archive libvelmorand-register-qt6-1)" Depends | grep 'libqt6core' | grep -v 'libqt5'
}

# If a package can be installed for two architectures together, its files outside the architecture's own directory must
# not depend on the architecture: they must be in /usr/include and /usr/share, and must not contain its name.
architectures_share_files() {
    for package in $all_packages; do
        deb=$(archive "$package")
        [ "$(dpkg-deb -f "$deb" Multi-Arch)" = same ] || continue
        rm -rf "$work/tree"
        dpkg-deb -x "$deb" "$work/tree"
        rm -rf "$work/tree/usr/lib/$triplet"
        for directory in "$work"/tree/* "$work"/tree/usr/*; do
            case ${directory#"$work/tree/"} in
            usr | usr/include | usr/share) ;;
            usr/lib) rmdir "$directory" ;;
            *) echo "$package has ${directory#"$work/tree"}" && return 1 ;;
            esac
        done
        if grep -r -l -F -e "$triplet" -e "${triplet%%-*}" "$work/tree"; then
            return 1
        fi
    done
}

unpack() {
    for package in $all_packages; do
        dpkg-deb -x "$(archive "$package")" "$work/unpacked"
    done
}

# debian/ has overrides, with reasons, for false reports.
lintian_says_nothing() {
    lintian --fail-on error,warning,info,pedantic -I --pedantic "$packages"/*.changes
}

blhc_says_nothing() {
    blhc --bindnow --line-numbers "$work/build.log"
}

# hardening-check cannot test two features. FORTIFY: the libraries call too few functions that have a checked form, so
# blhc checks the compiler's options instead. Control-flow protection: the linker marks a program only if the system's
# start files are protected, which those of Debian 12 are not. So this function counts the instructions: the compiler's
# start files contain two, and a protected program has more.
programs_are_hardened() {
    find "$work/unpacked" -type f -exec sh -c 'file -b "$1" | grep -q ^ELF' sh {} ';' -print >"$work/programs"
    test "$(wc -l <"$work/programs")" -eq 10
    while read -r program; do
        hardening-check --nofortify --nocfprotection "$program"
        readelf -d "$program" | grep -q BIND_NOW
        if [ "$triplet" = x86_64-linux-gnu ]; then
            test "$(objdump -d "$program" | grep -c endbr64)" -gt 2
        fi
        if readelf -d "$program" | grep -E 'RPATH|RUNPATH'; then
            return 1
        fi
    done <"$work/programs"
}

libraries_export_what_is_listed() {
    for name in exception filesystem register settings; do
        list=tests/package/$name.symbols
        libraries=$work/unpacked/usr/lib/$triplet
        NM=nm QT_MAJOR=5 sh tests/package/exported-symbols.sh "$libraries/libvelmorand-$name.so.1" "$list"
        [ "$name" = exception ] ||
            NM=nm QT_MAJOR=6 sh tests/package/exported-symbols.sh "$libraries/libvelmorand-$name-qt6.so.1" "$list"
    done
}

# Installs packages; the packages under test are in an archive in the chroot.
install_packages() { # CHROOT PACKAGE...
    root=$1
    shift
    if [ ! -d "$root/packages" ]; then
        mkdir "$root/packages"
        cp "$packages"/*.deb "$root/packages"
        in_chroot "$root" sh -ec 'cd /packages && dpkg-scanpackages . >Packages'
        echo 'deb [trusted=yes] file:/packages ./' >"$root/etc/apt/sources.list.d/packages.list"
        apt "$root" update
    fi
    apt "$root" install "$@"
}

# Runs the test in debian/tests.
application_works() { # CHROOT QT-MAJOR
    rm -rf "$1/sources"
    mkdir -p "$1/sources/tests/package"
    cp -R debian "$1/sources"
    cp -R tests/package/consumer "$1/sources/tests/package"
    # shellcheck disable=SC2016 # the inner shell's argument
    in_chroot "$1" sh -ec 'cd /sources && sh debian/tests/consumer "$1"' sh "$2"
}

development_package_works() { # QT-MAJOR PACKAGE
    new_chroot "qt$1"
    install_packages "$work/qt$1" cmake pkgconf velmorand-register "$2"
    application_works "$work/qt$1" "$1"
}

packages_work_together() {
    # shellcheck disable=SC2086 # the packages are words
    install_packages "$work/qt5" $all_packages
    application_works "$work/qt5" 5
    application_works "$work/qt5" 6
}

removal_leaves_nothing() {
    # shellcheck disable=SC2086 # the packages are words
    apt "$work/qt5" purge $all_packages
    rm -r "$work/qt5/packages" "$work/qt5/sources" "$work/qt5"/var/lib/apt/lists/*
    in_chroot "$work/qt5" sh -ec '
        if dpkg-query -W "*velmorand*" | grep .; then
            exit 1
        fi
        if find / -xdev -name "*elmorand*" -not -path "/proc/*" | grep .; then
            exit 1
        fi
        if ldconfig -p | grep velmorand; then
            exit 1
        fi'
}

need "Debian $suite can be installed" minimal_system
need "the build dependencies can be installed" build_dependencies
need "the packages build, and the tests pass" first_build
check "the packages contain the expected files" files_are_as_expected
check "the packages have the expected dependencies" dependencies_are_as_expected
check "packages of several architectures share their files" architectures_share_files
need "the packages can be unpacked" unpack
check "libraries export the symbols that are listed" libraries_export_what_is_listed
check "lintian reports nothing" lintian_says_nothing
check "blhc reports nothing" blhc_says_nothing
check "programs and libraries are hardened" programs_are_hardened
check "a second build is the same" second_build_is_the_same
check "an application builds with QtCore 6" development_package_works 6 libvelmorand-register-qt6-dev
check "an application builds with QtCore 5" development_package_works 5 libvelmorand-register-dev
check "all packages can be installed together" packages_work_together
check "removal leaves nothing" removal_leaves_nothing
exit "$failed"
